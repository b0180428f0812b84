#include "expr/expr.hpp"

#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "constraint/attr.hpp"
#include "core/bigint.hpp"
#include "core/block_alloc.hpp"
#include "core/parallel.hpp"

using vexa::coeff_t;

namespace {

TermImpl *allocate_terms(uint64_t count) {
    if (count == 0) return nullptr;
    if (count > SIZE_MAX / sizeof(TermImpl)) throw std::bad_alloc();
    return static_cast<TermImpl *>(vexa::allocate_block(count * sizeof(TermImpl)));
}

void destroy_terms(TermImpl *block, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) block[i].~TermImpl();
}

}  // namespace

ExprImpl::ExprImpl(const ExprImpl &other) : constant(other.constant), head(other.head), attr(other.attr) {
    if (other.size > 0) {
        data = allocate_terms(other.size);
        if (other.size < vexa::kParallelMin) {
            uint64_t built = 0;
            try {
                for (; built < other.size; ++built) new (&data[built]) TermImpl(other.data[built]);
            } catch (...) {
                destroy_terms(data, built);
                std::free(data);
                throw;
            }
        } else {
            vexa::par_for(other.size, [&](uint64_t i) { new (&data[i]) TermImpl(other.data[i]); });
        }
        capacity = size = other.size;
    }
    vexa::mark_shared(attr);
}

ExprImpl::ExprImpl(ExprImpl &&other) noexcept
    : constant(std::move(other.constant)),
      head(std::move(other.head)),
      capacity(std::exchange(other.capacity, 0)),
      size(std::exchange(other.size, 0)),
      data(std::exchange(other.data, nullptr)),
      attr(other.attr) {}

ExprImpl &ExprImpl::operator=(const ExprImpl &other) {
    if (this != &other) *this = ExprImpl(other);
    return *this;
}

ExprImpl &ExprImpl::operator=(ExprImpl &&other) noexcept {
    if (this != &other) {
        release_tail();
        constant = std::move(other.constant);
        head = std::move(other.head);
        capacity = std::exchange(other.capacity, 0);
        size = std::exchange(other.size, 0);
        data = std::exchange(other.data, nullptr);
        attr = other.attr;
    }
    return *this;
}

ExprImpl::~ExprImpl() { release_tail(); }

void ExprImpl::release_tail() {
    destroy_terms(data, size);
    std::free(data);
    data = nullptr;
    size = capacity = 0;
}

void ExprImpl::reserve_tail(uint64_t new_capacity) {
    if (new_capacity <= capacity) return;
    TermImpl *block = allocate_terms(new_capacity);
    vexa::relocate_terms(block, data, size);
    std::free(data);
    data = block;
    capacity = new_capacity;
}

void ExprImpl::reserve_more(uint64_t extra) {
    if (size + extra > capacity) reserve_tail(std::max(size + extra, capacity * 2));
}

void ExprImpl::push_tail(TermImpl &&t) {
    if (size == capacity) reserve_tail(capacity == 0 ? 4 : capacity * 2);
    new (&data[size]) TermImpl(std::move(t));
    ++size;
}

void ExprImpl::add_term(TermImpl &&t) {
    if (!has_head()) {
        head = std::move(t);
    } else {
        push_tail(std::move(t));
    }
}

void ExprImpl::add_term(const TermImpl &t) { add_term(TermImpl(t)); }

void ExprImpl::adopt_tail(vexa::TermBuffer &&buffer) {
    release_tail();
    capacity = buffer.capacity;
    size = buffer.size;
    data = buffer.release();
}

void ExprImpl::init_positions(uint64_t total) {
    release_tail();
    head = TermImpl{};
    if (total <= 1) return;
    data = allocate_terms(total - 1);
    vexa::par_for(total - 1, [&](uint64_t i) { new (&data[i]) TermImpl(); });
    capacity = size = total - 1;
}

ExprImpl ExprImpl::plain_copy(const ExprImpl &other) {
    ExprImpl copy(other.constant);
    copy.head = other.head;
    copy.reserve_tail(other.size);
    for (uint64_t i = 0; i < other.size; ++i) copy.push_tail(TermImpl(other.data[i]));
    return copy;
}

void ExprImpl::append_terms(const ExprImpl &other) {
    if (&other == this) {
        append_terms(plain_copy(other));
        return;
    }
    constant += other.constant;
    if (other.has_head()) add_term(other.head);
    reserve_more(other.size);
    for (uint64_t i = 0; i < other.size; ++i) push_tail(TermImpl(other.data[i]));
}

void ExprImpl::append_terms(ExprImpl &&other) {
    constant += other.constant;
    if (other.has_head()) add_term(std::move(other.head));
    reserve_more(other.size);
    for (uint64_t i = 0; i < other.size; ++i) push_tail(std::move(other.data[i]));
}

void ExprImpl::negate() {
    constant = -constant;
    if (has_head()) head.coeff = -head.coeff;
    vexa::par_for(size, [&](uint64_t i) { data[i].coeff = -data[i].coeff; });
}

void ExprImpl::imul_int(const coeff_t &k) {
    constant *= k;
    if (has_head()) head.coeff *= k;
    vexa::par_for(size, [&](uint64_t i) { data[i].coeff *= k; });
}

uint32_t ExprImpl::max_degree() const {
    uint32_t d = has_head() ? head.vars.degree() : 0;
    for (uint64_t i = 0; i < size && d < vexa::kMaxDeg; ++i) d = std::max(d, data[i].vars.degree());
    return d;
}

bool ExprImpl::has_int_atom() const {
    auto holds = [](const TermImpl &t) {
        const uint32_t d = t.vars.degree();
        for (uint32_t k = 0; k < d; ++k) {
            if ((t.vars.slot[k] & vexa::kIntBit) != 0) return true;
        }
        return false;
    };
    if (has_head() && holds(head)) return true;
    for (uint64_t i = 0; i < size; ++i) {
        if (holds(data[i])) return true;
    }
    return false;
}

namespace vexa {
ExprImpl literal_expr(const coeff_t &coeff, uint32_t code, const coeff_t &constant) {
    ExprImpl e{constant};
    e.head.coeff = coeff;
    e.head.vars.append(code);
    return e;
}

TermImpl make_term(coeff_t coeff, const uint32_t *vars, uint32_t nvars) {
    TermImpl t{std::move(coeff), {}};
    for (uint32_t i = 0; i < nvars; ++i) t.vars.append(vars[i]);
    return t;
}
}  // namespace vexa

namespace vexa {
void add_bulk(ExprImpl &e, const coeff_t &constant, uint64_t n, const vexa_bigint *coeffs,
              const uint32_t *counts, const uint32_t *vars) {
    e.constant += constant;
    if (n == 0) return;
    if (e.capacity < e.size + n) e.reserve_tail(e.size + n);
    TermImpl *slots = e.data + e.size;
    // Builds terms [begin, end), whose variables start at vars[at]; `built`
    // follows the progress, for the clean-up after a throw.
    auto build = [&](uint64_t begin, uint64_t end, uint64_t at, uint64_t &built) {
        for (built = begin; built < end; ++built) {
            new (&slots[built]) TermImpl(make_term(coeff_from_record(&coeffs[built]), vars + at, counts[built]));
            at += counts[built];
        }
    };
    if (n < kParallelMin) {
        uint64_t built = 0;
        try {
            build(0, n, 0, built);
        } catch (...) {
            destroy_terms(slots, built);
            throw;
        }
    } else {
        // Where each chunk's variables start: one running sum per chunk
        // instead of an offset per term, which would cost 8 bytes a term at
        // the peak.
        constexpr uint64_t kChunk = 4096;
        const uint64_t chunks = (n + kChunk - 1) / kChunk;
        std::vector<uint64_t> chunk_start(chunks);
        uint64_t offset = 0;
        for (uint64_t i = 0; i < n; ++i) {
            if (i % kChunk == 0) chunk_start[i / kChunk] = offset;
            offset += counts[i];
        }
        par_items(chunks, parallel_threads(n), [&](uint64_t c) {
            uint64_t built = 0;
            build(c * kChunk, std::min(n, (c + 1) * kChunk), chunk_start[c], built);
        });
    }
    e.size += n;
}
}  // namespace vexa

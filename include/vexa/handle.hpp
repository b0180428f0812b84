// Vexa for C++: Handle, the owner of one object of the C interface, which
// the value classes (Term, Expr, Model, Sol) and the solvers build on.
#ifndef VEXA_HANDLE_HPP
#define VEXA_HANDLE_HPP

#include <type_traits>
#include <utility>

namespace vexa::hpp_detail {

// Owns a T * of the C interface and releases it with `destroy`. With a
// `clone` function (T *(const T *)) a copy is a copy of the object; without
// one (nullptr) the handle can only be moved. A move hands the object over
// and leaves the source holding null, which every vexa_*_destroy accepts, so
// that a moved-from value can still be assigned to or destroyed.
template <class T, auto destroy, auto clone = nullptr>
class Handle {
public:
    static constexpr bool copyable = !std::is_null_pointer_v<decltype(clone)>;

    explicit Handle(T *h) noexcept : h_(h) {}
    Handle(const Handle &o)
        requires copyable
        : h_(clone(o.h_)) {}
    Handle(Handle &&o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Handle &operator=(const Handle &o)
        requires copyable
    {
        if (this != &o) {
            Handle tmp(o);
            std::swap(h_, tmp.h_);
        }
        return *this;
    }
    Handle &operator=(Handle &&o) noexcept {
        if (this != &o) {
            destroy(h_);
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    ~Handle() { destroy(h_); }

    T *handle() const noexcept { return h_; }
    // Gives up ownership: the caller releases the object.
    T *release() noexcept { return std::exchange(h_, nullptr); }

protected:
    T *h_;
};

}  // namespace vexa::hpp_detail

#endif

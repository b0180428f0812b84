// The Python module `vexa`: the value classes of the C++ front end with
// Python operators, exact Python integers, NumPy input and output, and
// searches that release the GIL and stop on Ctrl-C.
//
// Everything that the library would refuse by ending the process is checked
// here first and raised as a Python exception: products above degree 2,
// reading a variable that a solution does not hold, bad search settings,
// arrays of mismatched shapes.
#include <pybind11/numpy.h>
#include <pybind11/operators.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include <vexa/vexa.hpp>

namespace py = pybind11;

// ---------------------------------------------------------------------------
// Python int <-> vexa::Int, exactly, through 64-bit limbs.
// ---------------------------------------------------------------------------
namespace {

vexa::Int int_from_py(py::handle h) {
    int overflow = 0;
    const long long small = PyLong_AsLongLongAndOverflow(h.ptr(), &overflow);
    if (overflow == 0) {
        if (small == -1 && PyErr_Occurred()) throw py::error_already_set();
        return vexa::Int(static_cast<int64_t>(small));
    }
    // Magnitude as little-endian bytes, then 64-bit limbs.
    const py::int_ value = py::reinterpret_borrow<py::int_>(h);
    const bool negative = overflow < 0;
    const py::object mag = negative ? py::reinterpret_steal<py::object>(PyNumber_Negative(h.ptr())) : py::object(value);
    const auto bits = mag.attr("bit_length")().cast<uint64_t>();
    const uint64_t nlimbs = (bits + 63) / 64;
    const py::bytes raw = mag.attr("to_bytes")(nlimbs * 8, "little");
    const std::string bytes = raw;
    std::vector<uint64_t> limbs(nlimbs, 0);
    for (uint64_t i = 0; i < bytes.size(); ++i) {
        limbs[i / 8] |= static_cast<uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * (i % 8));
    }
    const vexa_bigint rec{negative ? -1 : 1, static_cast<uint32_t>(nlimbs), limbs.data()};
    return vexa::Int::from_record(rec);
}

py::object int_to_py(const vexa::Int &v) {
    if (v.fits_int64()) return py::reinterpret_steal<py::object>(PyLong_FromLongLong(v.to_int64()));
    std::string bytes(static_cast<std::size_t>(v.limb_count()) * 8, '\0');
    for (uint32_t i = 0; i < v.limb_count(); ++i) {
        for (int k = 0; k < 8; ++k) bytes[8 * i + k] = static_cast<char>(v.limbs()[i] >> (8 * k));
    }
    py::object mag = py::module_::import("builtins").attr("int").attr("from_bytes")(py::bytes(bytes), "little");
    if (v.sign() < 0) return py::reinterpret_steal<py::object>(PyNumber_Negative(mag.ptr()));
    return mag;
}

bool is_py_integer(py::handle h) {
    if (PyLong_Check(h.ptr())) return true;
    // NumPy integers and other objects with __index__, but never floats.
    return !PyFloat_Check(h.ptr()) && PyIndex_Check(h.ptr());
}

}  // namespace

namespace pybind11::detail {
template <>
struct type_caster<vexa::Int> {
    PYBIND11_TYPE_CASTER(vexa::Int, const_name("int"));
    bool load(handle src, bool convert) {
        if (PyLong_Check(src.ptr())) {
            value = int_from_py(src);
            return true;
        }
        if (!convert || !is_py_integer(src)) return false;
        const object idx = reinterpret_steal<object>(PyNumber_Index(src.ptr()));
        if (!idx) {
            PyErr_Clear();
            return false;
        }
        value = int_from_py(idx);
        return true;
    }
    static handle cast(const vexa::Int &v, return_value_policy, handle) { return int_to_py(v).release(); }
};
}  // namespace pybind11::detail

namespace {

// ---------------------------------------------------------------------------
// Operands: whatever may stand in an expression, read as an Expr.
// ---------------------------------------------------------------------------
vexa::Expr to_expr(py::handle h);

bool is_operand(py::handle h) {
    return is_py_integer(h) || py::isinstance<vexa::Expr>(h) || py::isinstance<vexa::Var>(h) ||
           py::isinstance<vexa::NativeIntVar>(h) || py::isinstance<vexa::Constraint>(h);
}

vexa::Expr to_expr(py::handle h) {
    if (py::isinstance<vexa::Expr>(h)) return static_cast<const vexa::Expr &>(h.cast<const vexa::Expr &>());
    if (py::isinstance<vexa::Var>(h)) return vexa::Expr(h.cast<const vexa::Var &>());
    if (py::isinstance<vexa::NativeIntVar>(h)) return vexa::Expr(h.cast<const vexa::NativeIntVar &>());
    if (py::isinstance<vexa::Constraint>(h)) return h.cast<const vexa::Constraint &>().penalty();
    if (is_py_integer(h)) return vexa::Expr(h.cast<vexa::Int>());
    throw py::type_error("vexa: cannot use an object of type " + std::string(py::str(h.get_type().attr("__name__"))) +
                         " in an expression");
}

// Degree of an operand's terms (0 for an integer), to refuse products above 2
// before the library sees them.
uint32_t degree_of(const vexa::Expr &e) { return e.max_degree(); }

uint32_t degree_of(const vexa::Var &);
uint32_t degree_of(const vexa::Int &);

template <class B>
void check_product(const vexa::Expr &a, const B &b) {
    const uint32_t d = degree_of(a) + degree_of(b);
    if (d > 2) {
        throw py::value_error("vexa: the product has degree " + std::to_string(d) +
                              "; terms hold at most 2 variables");
    }
}

// Calls f with the operand in its cheapest form: an expression by reference,
// a variable, an integer; anything else is not an operand (NotImplemented,
// so that Python tries the other side).
template <class F>
py::object with_operand(py::handle b, F &&f) {
    if (py::isinstance<vexa::Expr>(b)) return py::cast(f(b.cast<const vexa::Expr &>()));
    if (py::isinstance<vexa::Var>(b)) return py::cast(f(b.cast<const vexa::Var &>()));
    if (is_py_integer(b)) return py::cast(f(b.cast<vexa::Int>()));
    if (!is_operand(b)) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    return py::cast(f(to_expr(b)));
}

// Work on large expressions runs without the GIL.
constexpr uint64_t kReleaseGilTerms = 4096;

template <class F>
auto maybe_without_gil(const vexa::Expr &a, F &&f) {
    if (a.term_count() < kReleaseGilTerms) return f();
    py::gil_scoped_release nogil;
    return f();
}

template <class F>
auto without_gil(F &&f) {
    py::gil_scoped_release nogil;
    return f();
}

uint32_t degree_of(const vexa::Var &) { return 1; }
uint32_t degree_of(const vexa::Int &) { return 0; }

py::object py_add(const vexa::Expr &a, py::handle b) {
    return with_operand(b, [&](const auto &y) { return maybe_without_gil(a, [&] { return vexa::Expr(a + y); }); });
}
py::object py_sub(const vexa::Expr &a, py::handle b) {
    return with_operand(b, [&](const auto &y) { return maybe_without_gil(a, [&] { return vexa::Expr(a - y); }); });
}
py::object py_rsub(const vexa::Expr &a, py::handle b) {
    return with_operand(b, [&](const auto &y) {
        return maybe_without_gil(a, [&] {
            vexa::Expr e = -a;
            e += y;
            return e;
        });
    });
}
py::object py_mul(const vexa::Expr &a, py::handle b) {
    return with_operand(b, [&](const auto &y) {
        check_product(a, y);
        return maybe_without_gil(a, [&] { return vexa::Expr(a * y); });
    });
}
vexa::Expr power(const vexa::Expr &a, py::handle k) {
    if (!is_py_integer(k)) throw py::type_error("vexa: the exponent must be an integer");
    const vexa::Int n = k.cast<vexa::Int>();
    if (n == 0) return vexa::Expr(1);
    if (n == 1) return a;
    if (n == 2) {
        check_product(a, a);
        return maybe_without_gil(a, [&] { return vexa::sqr(a); });
    }
    throw py::value_error("vexa: only the powers 0, 1 and 2 are quadratic (got " + n.str() + ")");
}

// Exact division by an integer; a remainder is refused here, not by the library.
vexa::Expr divide(const vexa::Expr &a, py::handle d) {
    if (!is_py_integer(d)) throw py::type_error("vexa: an expression is divided only by an integer");
    const vexa::Int k = d.cast<vexa::Int>();
    if (k.is_zero()) throw py::value_error("vexa: division by zero");
    const py::object pk = int_to_py(k);
    const auto divisible = [&](const vexa::Int &c) {
        return py::cast<bool>(int_to_py(c).attr("__mod__")(pk).attr("__eq__")(0));
    };
    if (!divisible(a.constant())) throw py::value_error("vexa: the division leaves a remainder");
    for (uint64_t i = 0; i < a.term_count(); ++i) {
        if (!divisible(a.term(i).coeff())) throw py::value_error("vexa: the division leaves a remainder");
    }
    return a / k;
}

// Comparisons of an expression with an operand: a Constraint on a - b.
vexa::Constraint compare(const vexa::Expr &a, py::handle b, int how) {
    vexa::Expr body = is_py_integer(b) ? vexa::Expr(a) : a - to_expr(b);
    const vexa::Int c = is_py_integer(b) ? b.cast<vexa::Int>() : vexa::Int(0);
    if (how == 0) return std::move(body) == c;
    if (how < 0) return std::move(body) <= c;
    return std::move(body) >= c;
}

// A sum built in place, so that summing n operands costs n additions.
vexa::Expr sum_of(py::iterable items, py::handle start) {
    vexa::Expr total = to_expr(start);
    for (py::handle h : items) {
        if (py::isinstance<vexa::Expr>(h)) {
            total += h.cast<const vexa::Expr &>();
        } else if (py::isinstance<vexa::Var>(h)) {
            total += h.cast<const vexa::Var &>();
        } else if (is_py_integer(h)) {
            total += h.cast<vexa::Int>();
        } else {
            total += to_expr(h);
        }
    }
    return total;
}

// ---------------------------------------------------------------------------
// Arrays of variables: a NumPy object array of Var.
// ---------------------------------------------------------------------------
std::vector<uint64_t> shape_of(py::handle shape) {
    std::vector<uint64_t> out;
    if (is_py_integer(shape)) {
        const long long n = shape.cast<long long>();
        if (n < 0) throw py::value_error("vexa: a dimension must not be negative");
        out.push_back(static_cast<uint64_t>(n));
        return out;
    }
    for (py::handle d : shape.cast<py::iterable>()) {
        if (!is_py_integer(d)) throw py::type_error("vexa: a shape holds integers");
        const long long n = d.cast<long long>();
        if (n < 0) throw py::value_error("vexa: a dimension must not be negative");
        out.push_back(static_cast<uint64_t>(n));
    }
    if (out.empty()) throw py::value_error("vexa: a shape needs at least one dimension");
    return out;
}

// vexa.Array: the NumPy subclass of object arrays whose @ contracts in the
// library. Made at import; the module holds the reference.
py::handle vexa_array_type;

// A vexa.Array of the given shape whose element i is item(i), a new reference.
template <class F>
py::object object_array(const std::vector<py::ssize_t> &dims, F &&item) {
    py::array out(py::dtype("O"), dims);
    auto *data = static_cast<PyObject **>(out.mutable_data());
    for (py::ssize_t i = 0; i < out.size(); ++i) {
        PyObject *old = data[i];  // NumPy fills a new object array with None
        data[i] = item(static_cast<uint64_t>(i)).release().ptr();
        Py_XDECREF(old);
    }
    return out.attr("view")(vexa_array_type);
}

py::object var_array(const std::string &name, py::handle shape_arg) {
    const std::vector<uint64_t> shape = shape_of(shape_arg);
    const vexa::Vars vars(name, shape);
    return object_array(std::vector<py::ssize_t>(shape.begin(), shape.end()),
                        [&](uint64_t i) { return py::cast(vars[i]); });
}

// ---------------------------------------------------------------------------
// Models, with the index variables of from_qubo / from_arrays kept for
// Result.to_numpy().
// ---------------------------------------------------------------------------
struct PyModel {
    vexa::Model model;
    std::optional<vexa::Vars> index_vars;
};

PyModel model_of(const vexa::Expr &e) {
    vexa::Expr simple;
    {
        py::gil_scoped_release nogil;
        simple = vexa::simplify_as_binary(e);
    }
    py::gil_scoped_release nogil;
    return PyModel{vexa::Model(simple), std::nullopt};
}

// A NumPy array with its elements in row-major order (no copy when they
// already are); rank and shape are kept.
py::array c_order(py::handle a) {
    using namespace pybind11::literals;
    return py::module_::import("numpy").attr("asarray")(a, "order"_a = "C");
}

// Integers of a NumPy array, in row-major order, as coefficient records that
// stay valid while the struct lives: signed and unsigned integer dtypes
// through one magnitude per element, object arrays of Python ints through
// Int values.
struct CoeffRecords {
    std::vector<vexa_bigint> recs;
    std::vector<uint64_t> mags;
    std::vector<vexa::Int> ints;
};

CoeffRecords coeff_records(py::handle values) {
    const py::array coeffs = c_order(values);
    const char kind = coeffs.dtype().kind();
    if (kind != 'O' && kind != 'i' && kind != 'u') {
        throw py::type_error("vexa: coefficients must be an integer array (int64) or an object array of ints");
    }
    CoeffRecords out;
    const py::ssize_t n = coeffs.size();
    out.recs.resize(static_cast<std::size_t>(n));
    if (kind == 'O') {
        auto *data = static_cast<PyObject *const *>(coeffs.data());
        out.ints.reserve(static_cast<std::size_t>(n));
        for (py::ssize_t i = 0; i < n; ++i) {
            const py::handle h(data[i]);
            if (!is_py_integer(h)) throw py::type_error("vexa: coefficient " + std::to_string(i) + " is not an integer");
            out.ints.push_back(h.cast<vexa::Int>());
        }
        for (py::ssize_t i = 0; i < n; ++i) out.recs[i] = out.ints[i].record();
        return out;
    }
    out.mags.resize(static_cast<std::size_t>(n));
    if (kind == 'u') {  // read as uint64, so that values above 2^63 keep their magnitude
        const py::array_t<uint64_t, py::array::c_style | py::array::forcecast> c64(coeffs);
        const uint64_t *c = c64.data();
        py::gil_scoped_release nogil;
        for (py::ssize_t i = 0; i < n; ++i) {
            out.mags[i] = c[i];
            out.recs[i] = vexa_bigint{c[i] != 0 ? 1 : 0, c[i] != 0 ? 1u : 0u, &out.mags[i]};
        }
        return out;
    }
    const py::array_t<int64_t, py::array::c_style | py::array::forcecast> c64(coeffs);
    const int64_t *c = c64.data();
    py::gil_scoped_release nogil;
    for (py::ssize_t i = 0; i < n; ++i) {
        const int64_t v = c[i];
        out.mags[i] = v < 0 ? uint64_t{0} - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
        out.recs[i] = vexa_bigint{v < 0 ? -1 : (v > 0 ? 1 : 0), v != 0 ? 1u : 0u, &out.mags[i]};
    }
    return out;
}

std::vector<int64_t> index_array(py::handle a, const char *what) {
    const py::array arr = py::array::ensure(a);
    if (!arr) throw py::type_error(std::string("vexa: ") + what + " must be an array of integers");
    if (arr.dtype().kind() != 'i' && arr.dtype().kind() != 'u') {
        throw py::type_error(std::string("vexa: ") + what + " must be an array of integers");
    }
    if (arr.ndim() != 1) throw py::value_error(std::string("vexa: ") + what + " must be one-dimensional");
    const py::array_t<int64_t, py::array::c_style | py::array::forcecast> a64(arr);
    return std::vector<int64_t>(a64.data(), a64.data() + a64.size());
}

// One bulk creation of the polynomial sum of c_k x_{i_k} x_{j_k} (x_i when
// i == j) over fresh variables x[0..n).
PyModel model_from_arrays(py::handle coeffs_arg, py::handle rows_arg, py::handle cols_arg, py::handle constant_arg,
                          std::optional<int64_t> n_arg, const std::string &name) {
    const py::array coeffs = py::array::ensure(coeffs_arg);
    if (!coeffs) throw py::type_error("vexa: coefficients must be an array");
    if (coeffs.ndim() != 1) throw py::value_error("vexa: coefficients must be one-dimensional");
    const std::vector<int64_t> rows = index_array(rows_arg, "rows");
    const std::vector<int64_t> cols = index_array(cols_arg, "cols");
    const std::size_t n = static_cast<std::size_t>(coeffs.size());
    if (rows.size() != n || cols.size() != n) {
        throw py::value_error("vexa: coefficients, rows and cols must have the same length (" + std::to_string(n) +
                              ", " + std::to_string(rows.size()) + ", " + std::to_string(cols.size()) + ")");
    }
    int64_t top = -1;
    for (std::size_t k = 0; k < n; ++k) {
        if (rows[k] < 0 || cols[k] < 0) throw py::value_error("vexa: negative variable index at position " + std::to_string(k));
        top = std::max({top, rows[k], cols[k]});
    }
    int64_t nvars = top + 1;
    if (n_arg) {
        if (*n_arg < nvars) throw py::value_error("vexa: n is smaller than the largest index + 1");
        nvars = *n_arg;
    }
    if (nvars > int64_t{1} << 31) throw py::value_error("vexa: too many variables");
    if (!constant_arg.is_none() && !is_py_integer(constant_arg)) throw py::type_error("vexa: the constant must be an integer");
    const vexa::Int constant = constant_arg.is_none() ? vexa::Int(0) : constant_arg.cast<vexa::Int>();
    CoeffRecords recs = coeff_records(coeffs);
    vexa::Vars vars(name, {static_cast<uint64_t>(nvars)});
    py::gil_scoped_release nogil;
    const uint32_t first = nvars > 0 ? vars[0].code() : 0;
    std::vector<uint32_t> counts(n), codes;
    codes.reserve(2 * n);
    for (std::size_t k = 0; k < n; ++k) {
        codes.push_back(first + static_cast<uint32_t>(rows[k]));
        if (rows[k] == cols[k]) {
            counts[k] = 1;
        } else {
            counts[k] = 2;
            codes.push_back(first + static_cast<uint32_t>(cols[k]));
        }
    }
    const vexa_bigint c = constant.record();
    const vexa::Expr e = vexa::Expr::adopt(vexa_expr_create_from_bulk(&c, n, recs.recs.data(), counts.data(), codes.data()));
    return PyModel{vexa::Model::from(e), vars};
}

PyModel model_from_qubo(py::dict q, py::handle constant, const std::string &name) {
    std::vector<int64_t> rows, cols;
    py::list coeffs;
    for (auto item : q) {
        const py::tuple key = py::reinterpret_borrow<py::object>(item.first).cast<py::tuple>();
        if (key.size() != 2 || !is_py_integer(key[0]) || !is_py_integer(key[1])) {
            throw py::type_error("vexa: QUBO keys are pairs of integer indices (i, j)");
        }
        if (!is_py_integer(item.second)) throw py::type_error("vexa: QUBO weights are integers");
        rows.push_back(key[0].cast<int64_t>());
        cols.push_back(key[1].cast<int64_t>());
        coeffs.append(item.second);
    }
    using namespace pybind11::literals;
    py::array c = py::module_::import("numpy").attr("array")(coeffs, "dtype"_a = "O");
    if (rows.empty()) c = py::array(py::dtype("O"), std::vector<py::ssize_t>{0});
    return model_from_arrays(c, py::array(py::cast(rows)), py::array(py::cast(cols)), constant, std::nullopt, name);
}

// ---------------------------------------------------------------------------
// Solutions.
// ---------------------------------------------------------------------------
struct PySol {
    vexa::Sol sol;
    std::shared_ptr<PyModel> model;
};
struct PyResult {
    vexa::Result result;
    std::shared_ptr<PyModel> model;
};

// The value of an expression over binary variables on a solution; terms
// with a variable the model does not hold count as 0.
vexa::Int eval_on(const vexa::Sol &s, const vexa::Expr &e) {
    if (e.has_int_atom()) throw py::value_error("vexa: only expressions over binary variables are evaluated here");
    if (e.is_declared()) {
        throw py::value_error("vexa: an expression with declared constraints is not evaluated on a solution; "
                              "use report() for its constraints");
    }
    return s.eval(e);
}

py::object sol_get(const vexa::Sol &s, py::handle key) {
    if (py::isinstance<vexa::Var>(key)) {
        const auto &v = key.cast<const vexa::Var &>();
        if (!s.has(v)) throw py::key_error("vexa: variable " + v.variable().name() + " is not in the model");
        return py::int_(s.get(v));
    }
    if (py::isinstance<vexa::NativeIntVar>(key)) {
        const auto &v = key.cast<const vexa::NativeIntVar &>();
        if (!s.has(v)) throw py::key_error("vexa: integer variable " + v.name() + " is not in the model");
        return int_to_py(s.get(v));
    }
    if (py::isinstance<vexa::IntVar>(key)) {
        const auto &n = key.cast<const vexa::IntVar &>();
        if (!s.has(n)) throw py::key_error("vexa: encoded integer " + n.str() + " is not in the model");
        return int_to_py(s.get(n));
    }
    if (py::isinstance<vexa::Expr>(key)) return int_to_py(eval_on(s, key.cast<const vexa::Expr &>()));
    throw py::type_error("vexa: a solution is indexed by a variable, an encoded integer or an expression");
}

py::dict sol_sample(const vexa::Sol &s) {
    py::dict out;
    for (const auto &[var, value] : s.vars()) out[py::str(var.name())] = py::int_(value);
    for (const auto &entry : s.int_vars()) out[py::str(entry.var.name())] = int_to_py(entry.value);
    return out;
}

py::array sol_to_numpy(const vexa::Sol &s, const PyModel &m, py::object vars) {
    if (!vars.is_none()) {
        const py::array arr = py::array::ensure(vars);
        if (!arr || arr.dtype().kind() != 'O') throw py::type_error("vexa: to_numpy takes an array of variables");
        std::vector<py::ssize_t> dims(arr.shape(), arr.shape() + arr.ndim());
        py::array_t<int8_t> out(dims);
        const py::array flat = arr.attr("ravel")();
        auto *src = static_cast<PyObject *const *>(flat.data());
        int8_t *dst = out.mutable_data();
        for (py::ssize_t i = 0; i < flat.size(); ++i) {
            const py::handle h(src[i]);
            if (!py::isinstance<vexa::Var>(h)) throw py::type_error("vexa: to_numpy takes an array of variables");
            const auto &v = h.cast<const vexa::Var &>();
            dst[i] = s.has(v) ? static_cast<int8_t>(s.get(v)) : 0;
        }
        return out;
    }
    if (m.index_vars) {
        const vexa::Vars &iv = *m.index_vars;
        py::array_t<int8_t> out(static_cast<py::ssize_t>(iv.size()));
        int8_t *dst = out.mutable_data();
        for (uint64_t i = 0; i < iv.size(); ++i) dst[i] = s.has(iv[i]) ? static_cast<int8_t>(s.get(iv[i])) : 0;
        return out;
    }
    py::array_t<int8_t> out(static_cast<py::ssize_t>(s.vars().size()));
    int8_t *dst = out.mutable_data();
    py::ssize_t i = 0;
    for (const auto &[var, value] : s.vars()) dst[i++] = static_cast<int8_t>(value);
    return out;
}

py::object info_value(const std::string &text) {
    // Numbers come back as numbers (exact integers, or floats), the rest as text.
    if (!text.empty()) {
        try {
            return int_to_py(vexa::Int(text));
        } catch (const std::invalid_argument &) {
        }
        try {
            std::size_t used = 0;
            const double d = std::stod(text, &used);
            if (used == text.size()) return py::float_(d);
        } catch (const std::exception &) {
        }
    }
    return py::str(text);
}

// ---------------------------------------------------------------------------
// NumPy arrays as the library's arrays: the operands of einsum and @, and the
// values of arrays on a solution.
// ---------------------------------------------------------------------------
vexa::Shape array_shape(const py::array &a) {
    vexa::Shape shape;
    for (py::ssize_t k = 0; k < a.ndim(); ++k) shape.push_back(static_cast<uint64_t>(a.shape(k)));
    return shape;
}

std::vector<py::ssize_t> numpy_dims(const vexa::Shape &shape) { return {shape.begin(), shape.end()}; }

// Integers as a NumPy array of the given shape: int64 when every value fits,
// else an object array of Python ints.
py::array ints_to_numpy(const std::vector<vexa::Int> &values, const vexa::Shape &shape) {
    const bool small = std::all_of(values.begin(), values.end(), [](const vexa::Int &v) { return v.fits_int64(); });
    if (small) {
        py::array_t<int64_t> out(numpy_dims(shape));
        int64_t *dst = out.mutable_data();
        for (std::size_t i = 0; i < values.size(); ++i) dst[i] = values[i].to_int64();
        return out;
    }
    py::array out(py::dtype("O"), numpy_dims(shape));
    auto *data = static_cast<PyObject **>(out.mutable_data());
    for (std::size_t i = 0; i < values.size(); ++i) {
        PyObject *old = data[i];
        data[i] = int_to_py(values[i]).release().ptr();
        Py_XDECREF(old);
    }
    return out;
}

// One operand of a contraction as a library array, with the highest degree
// of its elements.
using AnyArray = std::variant<vexa::Array<vexa::Var>, vexa::Array<vexa::Int>, vexa::Array<vexa::Expr>>;

template <class T>
uint32_t type_tag(const vexa::Array<T> &) {
    return vexa::hpp_detail::family_t<T>::tag;
}

struct Operand {
    AnyArray array;
    uint32_t degree;

    vexa::Shape shape() const {
        return std::visit([](const auto &a) { return a.shape(); }, array);
    }
    uint64_t size() const {
        return std::visit([](const auto &a) { return a.size(); }, array);
    }
    uint32_t tag() const {
        return std::visit([](const auto &a) { return type_tag(a); }, array);
    }
    const void *handle() const {
        return std::visit([](const auto &a) { return static_cast<const void *>(a.handle()); }, array);
    }
};

std::string operand_type_error(std::size_t k, const std::string &got) {
    return "vexa: operand " + std::to_string(k) + " is " + got +
           "; integer arrays (int64, or object arrays of ints) and arrays of variables or expressions are accepted";
}

// Operand k as a library array: integer dtypes and object arrays of ints as
// Int arrays, object arrays of variables as Var arrays, any other mix of
// variables, expressions and ints as Expr arrays. Other dtypes (float, str)
// and other elements are refused.
Operand read_operand(py::handle h, std::size_t k) {
    const py::array a = c_order(h);
    const vexa::Shape shape = array_shape(a);
    const char kind = a.dtype().kind();
    const auto int_array = [&] {
        const CoeffRecords recs = coeff_records(a);
        return Operand{vexa::Array<vexa::Int>::adopt(without_gil(
                           [&] { return vexa_array_int_create_data(recs.recs.data(), shape.data(), shape.size()); })),
                       0};
    };
    if (kind == 'i' || kind == 'u') return int_array();
    if (kind != 'O') throw py::type_error(operand_type_error(k, "of dtype " + std::string(py::str(a.dtype()))));

    const py::ssize_t n = a.size();
    auto *items = static_cast<PyObject *const *>(a.data());
    bool all_vars = true, all_ints = true;
    for (py::ssize_t i = 0; i < n; ++i) {
        const py::handle e(items[i]);
        if (py::isinstance<vexa::Var>(e)) {
            all_ints = false;
        } else if (is_py_integer(e)) {
            all_vars = false;
        } else if (is_operand(e)) {
            all_vars = all_ints = false;
        } else {
            throw py::type_error(operand_type_error(
                k, "an array holding a " + std::string(py::str(e.get_type().attr("__name__"))) + " at flat index " +
                       std::to_string(i)));
        }
    }
    // An empty object array reads as variables, so that its contractions
    // are expressions, as they are for a non-empty one.
    if (all_ints && n > 0) return int_array();
    if (all_vars) {
        std::vector<uint32_t> codes(static_cast<std::size_t>(n));
        for (py::ssize_t i = 0; i < n; ++i) codes[i] = py::handle(items[i]).cast<const vexa::Var &>().code();
        return Operand{vexa::Array<vexa::Var>::adopt(without_gil(
                           [&] { return vexa_array_var_create_data(codes.data(), shape.data(), shape.size()); })),
                       n > 0 ? 1u : 0u};
    }
    // Expressions are passed by their handles; the others become expressions
    // held here for the duration of the copy.
    std::vector<vexa::Expr> made;
    made.reserve(static_cast<std::size_t>(n));
    std::vector<const ExprImpl *> ptrs(static_cast<std::size_t>(n));
    uint32_t degree = 0;
    for (py::ssize_t i = 0; i < n; ++i) {
        const py::handle e(items[i]);
        const vexa::Expr *x = nullptr;
        if (py::isinstance<vexa::Expr>(e)) {
            x = &e.cast<const vexa::Expr &>();
        } else {
            made.push_back(to_expr(e));
            x = &made.back();
        }
        ptrs[i] = x->handle();
        degree = std::max(degree, x->max_degree());
    }
    return Operand{vexa::Array<vexa::Expr>::adopt(without_gil(
                       [&] { return vexa_array_expr_create_data(ptrs.data(), shape.data(), shape.size()); })),
                   degree};
}

// The contraction of the operands under the subscript, in one library call
// without the GIL. All-integer operands give integers (a NumPy array, or a
// Python int for a scalar output), the others expressions (a vexa.Array, or
// one Expr for a scalar output).
py::object contract(const std::string &sub, const std::vector<Operand> &ops) {
    if (ops.empty()) throw py::value_error("vexa: einsum needs at least one operand");
    std::vector<vexa::Shape> shapes;
    std::vector<uint32_t> tags;
    std::vector<const void *> handles;
    uint32_t degree = 0;
    std::string degrees;
    bool all_int = true, empty = false;
    for (const Operand &op : ops) {
        shapes.push_back(op.shape());
        tags.push_back(op.tag());
        handles.push_back(op.handle());
        degree += op.degree;
        degrees += (degrees.empty() ? "" : " + ") + std::to_string(op.degree);
        all_int = all_int && op.tag() == VEXA_ARRAY_TAG_INT;
        empty = empty || op.size() == 0;
    }
    // Subscript and shapes are checked by the C++ front end's own rule
    // (std::invalid_argument, raised as ValueError).
    const std::size_t rank = vexa::hpp_detail::einsum_check(sub, shapes);
    // Each product takes one element of every operand, so its degree is at
    // most the sum of the operands' highest degrees; with an empty operand
    // there is no product at all.
    if (degree > 2 && !empty) {
        throw py::value_error("vexa::einsum: the operands' degrees add up to " + std::to_string(degree) + " (" +
                              degrees + ") in subscript \"" + sub + "\"; terms hold at most 2 variables");
    }
    void *out = without_gil([&] {
        return vexa_einsum(sub.c_str(), static_cast<int>(ops.size()), tags.data(), handles.data(), all_int ? 0u : 1u,
                           rank);
    });
    if (all_int) {
        const auto result = vexa::Array<vexa::Int>::adopt(static_cast<vexa_int_array *>(out));
        std::vector<vexa::Int> values;
        values.reserve(result.size());
        for (uint64_t i = 0; i < result.size(); ++i) {
            values.push_back(vexa::hpp_detail::fam_int::get(result.handle(), i));  // by flat index
        }
        if (rank == 0) return int_to_py(values[0]);
        return ints_to_numpy(values, result.shape());
    }
    const auto result = vexa::Array<vexa::Expr>::adopt(static_cast<vexa_expr_array *>(out));
    std::vector<vexa::Expr> items;
    items.reserve(result.size());
    without_gil([&] {
        for (uint64_t i = 0; i < result.size(); ++i) {
            items.push_back(vexa::Expr::adopt(vexa_array_expr_get(result.handle(), i)));
        }
    });
    if (rank == 0) return py::cast(std::move(items[0]));
    return object_array(numpy_dims(result.shape()), [&](uint64_t i) { return py::cast(std::move(items[i])); });
}

py::object einsum(const std::string &sub, py::args operands) {
    std::vector<Operand> ops;
    ops.reserve(operands.size());
    for (std::size_t k = 0; k < operands.size(); ++k) ops.push_back(read_operand(operands[k], k));
    return contract(sub, ops);
}

// a @ b for arrays of one or two axes, as the contraction that NumPy's
// matmul would compute: "ij,jk->ik", "j,jk->k", "ij,j->i" or "j,j->".
py::object matmul(py::handle a, py::handle b) {
    const auto arrayish = [](py::handle h) {
        return py::isinstance<py::array>(h) || py::isinstance<py::list>(h) || py::isinstance<py::tuple>(h);
    };
    if (!arrayish(a) || !arrayish(b)) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    std::vector<Operand> ops;
    ops.push_back(read_operand(a, 0));
    ops.push_back(read_operand(b, 1));
    const std::size_t ra = ops[0].shape().size(), rb = ops[1].shape().size();
    if (ra == 0 || ra > 2 || rb == 0 || rb > 2) {
        throw py::value_error("vexa: @ takes arrays of one or two axes (got " +
                              vexa::hpp_detail::shape_text(ops[0].shape()) + " @ " +
                              vexa::hpp_detail::shape_text(ops[1].shape()) + "); einsum contracts any others");
    }
    const std::string left = ra == 2 ? "ij" : "j", right = rb == 2 ? "jk" : "j";
    const std::string out = std::string(ra == 2 ? "i" : "") + (rb == 2 ? "k" : "");
    return contract(left + "," + right + "->" + out, ops);
}

// The values of an array of variables, expressions and ints on a solution,
// in the array's shape. A variable that the model does not hold reads as 0
// (its negation as 1), and in an expression a term over one counts as 0; an
// integer variable that the model does not hold is refused.
py::array sol_values(const vexa::Sol &s, py::handle arg) {
    const py::array a = c_order(arg);
    if (a.dtype().kind() != 'O') throw py::type_error("vexa: values takes an array of variables or expressions");
    const vexa::Shape shape = array_shape(a);
    const py::ssize_t n = a.size();
    auto *items = static_cast<PyObject *const *>(a.data());
    std::vector<vexa::Int> values(static_cast<std::size_t>(n));
    std::vector<uint32_t> codes;  // the variables, read in one call
    std::vector<std::size_t> at;
    for (py::ssize_t i = 0; i < n; ++i) {
        const py::handle e(items[i]);
        if (py::isinstance<vexa::Var>(e)) {
            codes.push_back(e.cast<const vexa::Var &>().code());
            at.push_back(static_cast<std::size_t>(i));
        } else if (py::isinstance<vexa::NativeIntVar>(e)) {
            values[i] = sol_get(s, e).cast<vexa::Int>();
        } else if (is_py_integer(e)) {
            values[i] = e.cast<vexa::Int>();
        } else if (is_operand(e)) {
            values[i] = eval_on(s, to_expr(e));
        } else {
            throw py::type_error("vexa: values takes an array of variables or expressions (got a " +
                                 std::string(py::str(e.get_type().attr("__name__"))) + " at flat index " +
                                 std::to_string(i) + ")");
        }
    }
    if (!codes.empty()) {
        const vexa::Shape flat{codes.size()};
        const auto vars = vexa::Array<vexa::Var>::adopt(vexa_array_var_create_data(codes.data(), flat.data(), 1));
        const vexa::Array<vexa::Int> bits = vexa::values(s, vars);
        for (std::size_t j = 0; j < codes.size(); ++j) values[at[j]] = bits(j);
    }
    return ints_to_numpy(values, shape);
}

// Makes the class vexa.Array: NumPy's object arrays with @ (either side, so
// that an integer matrix on the left works too) computed by the library.
py::object make_array_type(py::module_ &m) {
    using namespace pybind11::literals;
    const py::object ndarray = py::module_::import("numpy").attr("ndarray");
    py::object cls = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject *>(&PyType_Type))(
        "Array", py::make_tuple(ndarray),
        py::dict("__module__"_a = m.attr("__name__"),
                 "__doc__"_a = "A NumPy object array of variables or expressions (what var_array and einsum give).\n\n"
                               "a @ b with an integer matrix or another such array is contracted by the library in "
                               "one call (1-d and 2-d operands); every other operation is NumPy's. Any object "
                               "array becomes one with vexa.asarray."));
    cls.attr("__matmul__") = py::cpp_function([](py::handle a, py::handle b) { return matmul(a, b); },
                                              py::name("__matmul__"), py::is_method(cls));
    cls.attr("__rmatmul__") = py::cpp_function([](py::handle a, py::handle b) { return matmul(b, a); },
                                               py::name("__rmatmul__"), py::is_method(cls));
    // a @= b rebinds a to a @ b (NumPy's in-place form would write into a).
    cls.attr("__imatmul__") = py::cpp_function(
        [](py::handle, py::handle) { return py::reinterpret_borrow<py::object>(Py_NotImplemented); },
        py::name("__imatmul__"), py::is_method(cls));
    return cls;
}

// ---------------------------------------------------------------------------
// Searches.
// ---------------------------------------------------------------------------
struct PySolver {
    using Any = std::variant<vexa::NimbaSolver, vexa::ExhaustiveSolver, vexa::TessixSolver>;
    std::shared_ptr<PyModel> model;
    std::string kind;
    Any solver;

    PySolver(std::shared_ptr<PyModel> m, const std::string &k)
        : model(std::move(m)), kind(k), solver(make(*model, k)) {}

    static Any make(const PyModel &m, const std::string &k) {
        if (k == "nimba") return vexa::NimbaSolver(m.model);
        if (k == "exhaustive") return vexa::ExhaustiveSolver(m.model);
        if (k == "tessix") {
            py::gil_scoped_release nogil;  // loads the module and hands it the model
            return Any(std::in_place_type<vexa::TessixSolver>, m.model);
        }
        throw py::value_error("vexa: unknown solver '" + k + "' (nimba, tessix or exhaustive)");
    }
    void stop() const {
        std::visit([](const auto &s) { s.terminate(); }, solver);
    }
    vexa::Result search(const vexa::SearchOptions &o) const {
        return std::visit([&](const auto &s) { return s.search(o); }, solver);
    }
};

// Searches without a time limit run 1 s, except the exhaustive one, which
// runs to the end of its enumeration.
vexa::SearchOptions options_of(const std::string &kind, py::object time_limit, py::object seed, py::object threads,
                               py::object target, py::object topk) {
    vexa::SearchOptions o;
    if (!time_limit.is_none()) {
        if (!py::isinstance<py::float_>(time_limit) && !is_py_integer(time_limit)) {
            throw py::type_error("vexa: time_limit is a number of seconds");
        }
        const double t = time_limit.cast<double>();
        if (!std::isfinite(t) || t <= 0) throw py::value_error("vexa: time_limit must be a positive, finite number of seconds");
        o.time_limit = t;
    } else if (kind != "exhaustive") {
        o.time_limit = 1.0;
    }
    const auto count = [](py::handle h, const char *what, uint64_t max) {
        if (!is_py_integer(h)) throw py::type_error(std::string("vexa: ") + what + " must be an integer");
        const vexa::Int v = h.cast<vexa::Int>();
        if (v.sign() < 0 || v.limb_count() > 1 || v.limbs()[0] > max) {
            throw py::value_error(std::string("vexa: ") + what + " must lie in [0, " + std::to_string(max) + "]");
        }
        return v.is_zero() ? uint64_t{0} : v.limbs()[0];
    };
    if (!seed.is_none()) o.seed = count(seed, "seed", std::numeric_limits<uint64_t>::max());
    if (!threads.is_none()) {
        const uint64_t t = count(threads, "threads", 4096);
        if (t == 0) throw py::value_error("vexa: threads must be at least 1");
        o.threads = static_cast<uint32_t>(t);
    }
    if (!target.is_none()) {
        if (!is_py_integer(target)) throw py::type_error("vexa: target is an integer energy");
        o.target_energy = target.cast<vexa::Int>();
    }
    const uint64_t k = count(topk, "topk", uint64_t{1} << 32);
    if (k > 0) o.topk = k;
    return o;
}

// Runs the search on a thread of its own while this thread, holding the GIL
// only briefly, polls for signals. On Ctrl-C the search is asked to stop, its
// best result is awaited and attached to the KeyboardInterrupt as `.result`.
// S has a shared_ptr<PyModel> `model` and stop(); `search` runs on the
// worker thread and holds what it needs.
template <class S, class Search>
py::object run_search(const std::shared_ptr<S> &s, Search search) {
    std::packaged_task<vexa::Result()> task(std::move(search));
    std::future<vexa::Result> done = task.get_future();
    std::thread worker(std::move(task));
    bool interrupted = false;
    PyObject *etype = nullptr, *evalue = nullptr, *etrace = nullptr;
    for (;;) {
        std::future_status st;
        {
            py::gil_scoped_release nogil;
            st = done.wait_for(std::chrono::milliseconds(50));
        }
        if (st == std::future_status::ready) break;
        if (!interrupted && PyErr_CheckSignals() != 0) {
            interrupted = true;
            PyErr_Fetch(&etype, &evalue, &etrace);
            s->stop();
        }
    }
    worker.join();
    py::object result;
    try {
        result = py::cast(PyResult{done.get(), s->model});
    } catch (...) {
        if (interrupted) {
            Py_XDECREF(etype);
            Py_XDECREF(evalue);
            Py_XDECREF(etrace);
        }
        throw;
    }
    if (interrupted) {
        PyErr_NormalizeException(&etype, &evalue, &etrace);
        if (evalue != nullptr) PyObject_SetAttrString(evalue, "result", result.ptr());
        PyErr_Restore(etype, evalue, etrace);
        throw py::error_already_set();
    }
    return result;
}

// A plain search of s with options o.
auto searching(const std::shared_ptr<PySolver> &s, const vexa::SearchOptions &o) {
    return [s, o] { return s->search(o); };
}

std::shared_ptr<PyModel> as_model(py::handle m) {
    if (py::isinstance<PyModel>(m)) return m.cast<std::shared_ptr<PyModel>>();
    if (is_operand(m)) return std::make_shared<PyModel>(model_of(to_expr(m)));
    throw py::type_error("vexa: solve takes a Model or an expression");
}

vexa::Expr constraint_body(py::handle f) {
    if (is_py_integer(f)) throw py::type_error("vexa: a constraint needs a body with variables");
    return to_expr(f);
}

// ---------------------------------------------------------------------------
// The accelerated solver, watched and steered from Python.
// ---------------------------------------------------------------------------

// A solution of `model` given as {variable: value}; every other variable is 0
// and every integer at its lower bound.
PySol make_sol(const std::shared_ptr<PyModel> &model, py::object values) {
    vexa::Sol s(model->model);
    if (!values.is_none()) {
        if (!py::isinstance<py::dict>(values)) throw py::type_error("vexa: a solution's values are a dict {variable: value}");
        for (auto item : values.cast<py::dict>()) {
            if (!is_py_integer(item.second)) throw py::type_error("vexa: a variable's value is an integer");
            const vexa::Int value = item.second.cast<vexa::Int>();
            if (py::isinstance<vexa::Var>(item.first)) {
                const auto &v = item.first.cast<const vexa::Var &>();
                if (!s.has(v)) throw py::key_error("vexa: variable " + v.variable().name() + " is not in the model");
                if (value != 0 && value != 1) {
                    throw py::value_error("vexa: variable " + v.variable().name() + " takes 0 or 1 (got " + value.str() + ")");
                }
                s.set(v, value == 1 ? 1 : 0);
            } else if (py::isinstance<vexa::NativeIntVar>(item.first)) {
                const auto &v = item.first.cast<const vexa::NativeIntVar &>();
                if (!s.has(v)) throw py::key_error("vexa: integer variable " + v.name() + " is not in the model");
                if (value < v.lower() || v.upper() < value) {
                    throw py::value_error("vexa: integer variable " + v.name() + " lies in [" + v.lower().str() + ", " +
                                          v.upper().str() + "] (got " + value.str() + ")");
                }
                s.set(v, value);
            } else {
                throw py::type_error("vexa: a solution's values are keyed by Var or NativeIntVar");
            }
        }
    }
    s.comp_energy();
    return PySol{std::move(s), model};
}

// The assignment of a Sol or a Result of the given model; one of another
// model is refused, since the solver would read its words as this model's.
vexa::Sol sol_of_model(py::handle h, const std::shared_ptr<PyModel> &model) {
    const auto check = [&](const std::shared_ptr<PyModel> &of) {
        if (of != model) throw py::value_error("vexa: the hint is a solution of another model");
    };
    if (py::isinstance<PySol>(h)) {
        const auto &s = h.cast<const PySol &>();
        check(s.model);
        return s.sol;
    }
    if (py::isinstance<PyResult>(h)) {
        const auto &r = h.cast<const PyResult &>();
        check(r.model);
        return r.result;
    }
    throw py::type_error("vexa: a hint is a Sol or a Result of the solver's model");
}

// TessixSolver with a Python progress callable. The C++ solver gets one
// callable for its lifetime, which calls the Python one of the moment, if
// any, under the GIL; an exception it raises stops the search and comes back
// out of search().
struct PyTessix {
    std::shared_ptr<PyModel> model;
    std::string kind = "tessix";
    std::optional<vexa::TessixSolver> solver;
    py::object progress = py::none();     // read and replaced under the GIL
    std::atomic<bool> has_progress{false};  // so that no callable costs no GIL
    std::atomic<bool> busy{false};          // one search at a time

    PyTessix(std::shared_ptr<PyModel> m, int gpu_mode) : model(std::move(m)) {
        if (gpu_mode > 0 && device_count() == 0) {
            throw py::value_error("vexa: gpu_mode " + std::to_string(gpu_mode) +
                                  " needs a GPU, and the accelerated module sees none (0 runs on the CPU, a "
                                  "negative gpu_mode uses a GPU where there is one)");
        }
        {
            py::gil_scoped_release nogil;
            solver.emplace(model->model, gpu_mode);
        }
        solver->on_progress([this](const vexa::Sol &s, uint32_t event) { return call(s, event); });
    }
    ~PyTessix() {
        // The solver goes first: nothing may call back into a half-destroyed object.
        solver.reset();
    }

    static int device_count() {
        py::gil_scoped_release nogil;
        return vexa::TessixSolver::device_count();
    }

    double call(const vexa::Sol &s, uint32_t event) {
        if (!has_progress.load(std::memory_order_acquire)) return -1.0;
        py::gil_scoped_acquire gil;
        const py::object fn = progress;  // kept while it runs, even if replaced meanwhile
        if (fn.is_none()) return -1.0;
        const py::object r = fn(PySol{s, model}, event);
        if (r.is_none()) return -1.0;
        if (py::isinstance<py::bool_>(r) || !(py::isinstance<py::float_>(r) || is_py_integer(r))) {
            throw py::type_error("vexa: the progress callable returns seconds for the timer (a number) or None");
        }
        return r.cast<double>();
    }

    void set_progress(py::object fn) {
        if (!fn.is_none() && !PyCallable_Check(fn.ptr())) throw py::type_error("vexa: on_progress takes a callable or None");
        progress = std::move(fn);
        has_progress.store(!progress.is_none(), std::memory_order_release);
    }

    void stop() const { solver->terminate(); }
};

py::object tessix_search(const std::shared_ptr<PyTessix> &t, const vexa::SearchOptions &o, py::handle hint) {
    std::optional<vexa::Sol> start;
    if (!hint.is_none()) {
        if (t->model->model.int_var_count() == 0) {
            throw py::value_error("vexa: a hint to search() needs a model with integer variables; "
                                  "TessixSolver.hint() offers one to a binary search");
        }
        start = sol_of_model(hint, t->model);
    }
    if (t->busy.exchange(true)) throw py::value_error("vexa: this TessixSolver is already searching");
    struct Done {
        std::atomic<bool> &busy;
        ~Done() { busy.store(false); }
    } done{t->busy};
    return run_search(t, [t, o, start = std::move(start)] {
        return start ? t->solver->search(o, *start) : t->solver->search(o);
    });
}

}  // namespace

PYBIND11_MODULE(vexa, m) {
    using namespace pybind11::literals;
    m.doc() = R"(Exact QUBO models: binary variables, quadratic expressions with integer
coefficients of any size, constraints, NumPy arrays and solvers.

Building models
  Model.from_arrays(coeffs, rows, cols, constant=0, n=None) is the way in for
  big models: the sum of coeffs[k] * x[rows[k]] * x[cols[k]] (x[i] alone where
  rows[k] == cols[k]) over fresh variables x[0..n), made in one bulk call from
  NumPy arrays (coefficients int64, uint64 or object arrays of Python ints).
  Model.from_qubo({(i, j): w}) does the same from a dict; Model(expr) freezes
  an expression.
  Var("x") and var_array("q", (4, 4)) (a vexa.Array, NumPy's object array)
  make variables; + - * ** // work with Python ints and NumPy integers, ~x is
  1 - x, and vexa.sum(items) adds in linear time (the builtin sum copies at
  each step). x @ Q, Q @ x and einsum("ij,j->i", Q, x) contract arrays of
  variables and expressions with integer matrices inside the library, in one
  call; a float matrix raises TypeError.
  IntVar("n", lo, hi) is an integer encoded in binary variables and an
  expression; NativeIntVar("m", lo, hi) is an integer the solver searches
  natively. f == c, f <= c, f >= c and between(lo, f, hi) are constraints: in
  an expression, their penalty; cons(c) declares one for the solver. abs(f, k)
  and relu(f, k) are soft costs.

Solving and reading results
  solve(model, "nimba", "tessix" or "exhaustive", time_limit, seed, threads,
  target, topk) returns a Result: .energy (an int), r[x] for a variable, an encoded
  integer or an expression, .sample (name -> value), .info, .tts, .topk,
  r.values(array) (int64, or object arrays of ints beyond 64 bits),
  r.to_numpy() (0/1 of x[0..n) of a bulk model) and r.report(expr), one dict
  per constraint.

Errors and threads
  What the library would refuse by ending the process (a product above degree
  2, a variable the model lacks, a bad setting, shapes that do not fit) raises
  ValueError, TypeError or KeyError. Searches, contractions and big builds
  release the GIL: Solver(model).stop() ends a search from another thread, and
  Ctrl-C ends one with KeyboardInterrupt whose .result holds the best found.

The accelerated solver
  t = TessixSolver(model, gpu_mode=0); t.on_progress(fn) has fn(sol, event)
  called from the search's threads with each new best (the GIL is taken for
  it; an exception in fn stops the search and is raised by t.search(...)).
  t.hint(sol) and t.terminate() work from another thread while t.search runs;
  Sol(model, {var: value}) makes a solution to offer. A positive gpu_mode
  raises ValueError unless TessixSolver.device_count() is positive.)";

    py::class_<vexa::Expr> expr(m, "Expr", "A polynomial of degree at most 2 with exact integer coefficients.");

    py::class_<vexa::Var>(m, "Var", "A binary variable; ~x is its negated literal 1 - x.")
        .def(py::init([](const std::string &name) { return vexa::Var(name); }), "name"_a = "")
        .def_property_readonly("name", [](const vexa::Var &v) { return v.name(); })
        .def_property_readonly("code", [](const vexa::Var &v) { return v.code(); })
        .def("__invert__", &vexa::Var::operator~)
        .def("__repr__", [](const vexa::Var &v) { return "Var(" + v.name() + ")"; })
        .def("__str__", [](const vexa::Var &v) { return v.name(); })
        .def("__hash__", [](const vexa::Var &v) { return v.code(); })
        // Two variables compare as codes (a bool); with an integer, == gives a constraint.
        .def("__eq__", [](const vexa::Var &a, py::handle b) -> py::object {
            if (py::isinstance<vexa::Var>(b)) return py::bool_(a == b.cast<const vexa::Var &>());
            if (is_operand(b)) return py::cast(compare(vexa::Expr(a), b, 0));
            return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        })
        .def("__ne__", [](const vexa::Var &a, py::handle b) -> py::object {
            if (py::isinstance<vexa::Var>(b)) return py::bool_(!(a == b.cast<const vexa::Var &>()));
            return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        })
        .def("__le__", [](const vexa::Var &a, py::handle b) { return compare(vexa::Expr(a), b, -1); })
        .def("__ge__", [](const vexa::Var &a, py::handle b) { return compare(vexa::Expr(a), b, 1); })
        .def("__add__", [](const vexa::Var &a, py::handle b) { return py_add(vexa::Expr(a), b); })
        .def("__radd__", [](const vexa::Var &a, py::handle b) { return py_add(vexa::Expr(a), b); })
        .def("__sub__", [](const vexa::Var &a, py::handle b) { return py_sub(vexa::Expr(a), b); })
        .def("__rsub__", [](const vexa::Var &a, py::handle b) { return py_rsub(vexa::Expr(a), b); })
        .def("__mul__", [](const vexa::Var &a, py::handle b) { return py_mul(vexa::Expr(a), b); })
        .def("__rmul__", [](const vexa::Var &a, py::handle b) { return py_mul(vexa::Expr(a), b); })
        .def("__neg__", [](const vexa::Var &a) { return -vexa::Expr(a); })
        .def("__pos__", [](const vexa::Var &a) { return vexa::Expr(a); })
        .def("__pow__", [](const vexa::Var &a, py::handle k) { return power(vexa::Expr(a), k); });

    py::class_<vexa::NativeIntVar>(m, "NativeIntVar", "An integer variable with bounds lo < hi, searched natively.")
        .def(py::init([](const std::string &name, const vexa::Int &lo, const vexa::Int &hi) {
                 if (!(lo < hi)) throw py::value_error("vexa: NativeIntVar needs lo < hi");
                 return vexa::NativeIntVar(name, lo, hi);
             }),
             "name"_a, "lo"_a, "hi"_a)
        .def_property_readonly("name", [](const vexa::NativeIntVar &v) { return v.name(); })
        .def_property_readonly("lower", &vexa::NativeIntVar::lower)
        .def_property_readonly("upper", &vexa::NativeIntVar::upper)
        .def("__repr__", [](const vexa::NativeIntVar &v) { return "NativeIntVar(" + v.name() + ")"; })
        .def("__str__", [](const vexa::NativeIntVar &v) { return v.name(); })
        .def("__hash__", [](const vexa::NativeIntVar &v) { return v.code(); })
        .def("__eq__", [](const vexa::NativeIntVar &a, py::handle b) -> py::object {
            if (py::isinstance<vexa::NativeIntVar>(b)) return py::bool_(a == b.cast<const vexa::NativeIntVar &>());
            if (is_operand(b)) return py::cast(compare(vexa::Expr(a), b, 0));
            return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        })
        .def("__le__", [](const vexa::NativeIntVar &a, py::handle b) { return compare(vexa::Expr(a), b, -1); })
        .def("__ge__", [](const vexa::NativeIntVar &a, py::handle b) { return compare(vexa::Expr(a), b, 1); })
        .def("__add__", [](const vexa::NativeIntVar &a, py::handle b) { return py_add(vexa::Expr(a), b); })
        .def("__radd__", [](const vexa::NativeIntVar &a, py::handle b) { return py_add(vexa::Expr(a), b); })
        .def("__sub__", [](const vexa::NativeIntVar &a, py::handle b) { return py_sub(vexa::Expr(a), b); })
        .def("__rsub__", [](const vexa::NativeIntVar &a, py::handle b) { return py_rsub(vexa::Expr(a), b); })
        .def("__mul__", [](const vexa::NativeIntVar &a, py::handle b) { return py_mul(vexa::Expr(a), b); })
        .def("__rmul__", [](const vexa::NativeIntVar &a, py::handle b) { return py_mul(vexa::Expr(a), b); })
        .def("__neg__", [](const vexa::NativeIntVar &a) { return -vexa::Expr(a); })
        .def("__pow__", [](const vexa::NativeIntVar &a, py::handle k) { return power(vexa::Expr(a), k); });

    expr.def(py::init([](py::handle x) { return to_expr(x); }), "value"_a = 0)
        .def_property_readonly("constant", &vexa::Expr::constant)
        .def_property_readonly("degree", &vexa::Expr::max_degree)
        .def("__len__", [](const vexa::Expr &e) { return e.term_count(); })
        .def("terms", [](const vexa::Expr &e) {
            // (coefficient, names of the literals) per term, in stored order.
            py::list out;
            for (uint64_t i = 0; i < e.term_count(); ++i) {
                const vexa::Term t = e.term(i);
                py::list names;
                for (uint32_t k = 0; k < t.degree(); ++k) names.append(py::str(vexa_var_str(t.var_code(k))));
                out.append(py::make_tuple(int_to_py(t.coeff()), py::tuple(names)));
            }
            return out;
        })
        .def("__str__", &vexa::Expr::str)
        .def("__repr__", [](const vexa::Expr &e) { return "Expr(" + e.str() + ")"; })
        .def("simplify", [](const vexa::Expr &e) { return vexa::simplify_as_binary(e); },
             "Canonical form over 0/1 values: x*x = x, ~x = 1 - x, like terms merged.")
        .def("eval", [](const vexa::Expr &e, py::dict values) {
            std::vector<std::pair<vexa::VarBase, vexa::Int>> pairs;
            for (auto item : values) {
                if (py::isinstance<vexa::Var>(item.first)) {
                    pairs.emplace_back(item.first.cast<const vexa::Var &>(), item.second.cast<vexa::Int>());
                } else if (py::isinstance<vexa::NativeIntVar>(item.first)) {
                    pairs.emplace_back(item.first.cast<const vexa::NativeIntVar &>(), item.second.cast<vexa::Int>());
                } else {
                    throw py::type_error("vexa: eval takes a dict from variables to integers");
                }
            }
            // Every variable of e needs a value, or the library would refuse it.
            for (uint64_t i = 0; i < e.term_count(); ++i) {
                const vexa::Term t = e.term(i);
                for (uint32_t k = 0; k < t.degree(); ++k) {
                    const uint32_t code = t.var_code(k) & ~VEXA_NEGATED_BIT;
                    const bool found = std::any_of(pairs.begin(), pairs.end(),
                                                   [&](const auto &p) { return p.first.code() == code; });
                    if (!found) throw py::key_error("vexa: no value for variable " + std::string(vexa_var_str(code)));
                }
            }
            return vexa::eval(e, pairs);
        }, "values"_a, "Value of the expression with the given variable values (~x counts as 1 - x).")
        .def("__add__", [](const vexa::Expr &a, py::handle b) { return py_add(a, b); })
        .def("__radd__", [](const vexa::Expr &a, py::handle b) { return py_add(a, b); })
        .def("__sub__", [](const vexa::Expr &a, py::handle b) { return py_sub(a, b); })
        .def("__rsub__", [](const vexa::Expr &a, py::handle b) { return py_rsub(a, b); })
        .def("__mul__", [](const vexa::Expr &a, py::handle b) { return py_mul(a, b); })
        .def("__rmul__", [](const vexa::Expr &a, py::handle b) { return py_mul(a, b); })
        .def("__floordiv__", [](const vexa::Expr &a, py::handle d) { return divide(a, d); })
        .def("__pow__", [](const vexa::Expr &a, py::handle k) { return power(a, k); })
        .def("__neg__", [](const vexa::Expr &a) { return -a; })
        .def("__pos__", [](const vexa::Expr &a) { return vexa::Expr(a); })
        // In place for a plain expression (aliases see the change, as with lists);
        // an encoded integer keeps its value and gives a new expression.
        .def("__iadd__", [](py::object self, py::handle b) -> py::object {
            if (py::isinstance<vexa::IntVar>(self) || !is_operand(b)) return py_add(self.cast<const vexa::Expr &>(), b);
            vexa::Expr &e = self.cast<vexa::Expr &>();
            if (b.is(self)) {  // e += e: the operand is a copy
                const vexa::Expr copy(e);
                e += copy;
                return self;
            }
            with_operand(b, [&](const auto &y) { e += y; return 0; });
            return self;
        })
        .def("__isub__", [](py::object self, py::handle b) -> py::object {
            if (py::isinstance<vexa::IntVar>(self) || !is_operand(b)) return py_sub(self.cast<const vexa::Expr &>(), b);
            vexa::Expr &e = self.cast<vexa::Expr &>();
            if (b.is(self)) {  // e -= e: the operand is a copy
                const vexa::Expr copy(e);
                e -= copy;
                return self;
            }
            with_operand(b, [&](const auto &y) { e -= y; return 0; });
            return self;
        })
        .def("__eq__", [](const vexa::Expr &a, py::handle b) -> py::object {
            if (!is_operand(b)) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
            return py::cast(compare(a, b, 0));
        })
        .def("__le__", [](const vexa::Expr &a, py::handle b) { return compare(a, b, -1); })
        .def("__ge__", [](const vexa::Expr &a, py::handle b) { return compare(a, b, 1); })
        .def("__abs__", [](const vexa::Expr &a) { return vexa::abs(a); });
    expr.attr("__hash__") = py::none();

    py::class_<vexa::IntVar, vexa::Expr>(m, "IntVar", "An integer in [lo, hi] encoded in binary variables; an Expr.")
        .def(py::init([](const std::string &name, const vexa::Int &lo, const vexa::Int &hi) {
                 if (lo > hi) throw py::value_error("vexa: IntVar needs lo <= hi (got " + lo.str() + " > " + hi.str() + ")");
                 return vexa::IntVar(name, lo, hi);
             }),
             "name"_a, "lo"_a, "hi"_a)
        .def_property_readonly("lower", &vexa::IntVar::lower)
        .def_property_readonly("upper", &vexa::IntVar::upper)
        .def_property_readonly("bits", &vexa::IntVar::bits);

    py::class_<vexa::Constraint>(m, "Constraint",
                                 "A comparison; as an expression its penalty, through cons() a declared constraint.")
        .def_property_readonly("body", &vexa::Constraint::body)
        .def_property_readonly("lower", &vexa::Constraint::lower)
        .def_property_readonly("upper", &vexa::Constraint::upper)
        .def_property_readonly("weight", &vexa::Constraint::weight)
        .def_property_readonly("penalty", &vexa::Constraint::penalty)
        .def("__mul__", [](vexa::Constraint c, const vexa::Int &k) { return c *= k; })
        .def("__rmul__", [](vexa::Constraint c, const vexa::Int &k) { return c *= k; })
        .def("__add__", [](const vexa::Constraint &c, py::handle b) { return py_add(c.penalty(), b); })
        .def("__radd__", [](const vexa::Constraint &c, py::handle b) { return py_add(c.penalty(), b); })
        .def("__bool__", [](const vexa::Constraint &) -> bool {
            throw py::type_error("vexa: a constraint has no truth value; use it in an expression or in cons()");
        })
        .def("__repr__", [](const vexa::Constraint &c) {
            return "Constraint(" + c.lower().str() + " <= " + c.body().str() + " <= " + c.upper().str() + ")";
        });

    m.def("between", [](const vexa::Int &lo, py::handle f, const vexa::Int &hi) {
        if (lo > hi) throw py::value_error("vexa: between needs lo <= hi (got " + lo.str() + " > " + hi.str() + ")");
        return vexa::between(lo, constraint_body(f), hi);
    }, "lo"_a, "f"_a, "hi"_a, "The constraint lo <= f <= hi.");
    m.def("cons", [](py::handle c) -> vexa::Expr {
        if (py::isinstance<vexa::Constraint>(c)) return vexa::cons(c.cast<const vexa::Constraint &>());
        throw py::type_error("vexa: cons takes a constraint (f == c, f <= c, f >= c, between)");
    }, "constraint"_a, "The constraint declared: the model hands it to the solver as a native constraint.");
    m.def("abs", [](py::handle f, uint32_t k) {
        if (k != 1 && k != 2) throw py::value_error("vexa: the exponent k of abs must be 1 or 2");
        return vexa::abs(constraint_body(f), k);
    }, "f"_a, "k"_a = 1, "The soft cost |f|^k, k 1 or 2.");
    m.def("relu", [](py::handle f, uint32_t k) {
        if (k != 1 && k != 2) throw py::value_error("vexa: the exponent k of relu must be 1 or 2");
        return vexa::relu(constraint_body(f), k);
    }, "f"_a, "k"_a = 1, "The soft cost max(0, f)^k, k 1 or 2.");

    m.def("sum", [](py::iterable items, py::handle start) { return sum_of(items, start); }, "items"_a,
          "start"_a = 0, "The sum of the items, built in place (linear time, unlike the builtin sum).");
    const py::object array_type = make_array_type(m);
    m.attr("Array") = array_type;
    vexa_array_type = array_type;  // kept alive by the module
    m.def("var_array", &var_array, "name"_a, "shape"_a,
          "A vexa.Array of fresh binary variables named name[i][j]...");
    m.def("asarray", [](py::handle a) {
        using namespace pybind11::literals;
        return py::module_::import("numpy").attr("asarray")(a, "dtype"_a = "O").attr("view")(vexa_array_type);
    }, "a"_a, "a (a list, or a NumPy array of variables and expressions) as a vexa.Array, sharing an object array's data.");
    m.def("einsum", &einsum, "subscript"_a,
          "einsum(subscript, *operands): the contraction of arrays of variables, expressions and integers, as "
          "numpy.einsum writes it (\"ij,j->i\", \"i,ij,j->\"; no '...'), computed by the library in one call. "
          "Operands are vexa.Arrays, object arrays or lists of variables, expressions and ints, or integer "
          "ndarrays (int64, uint64, object arrays of ints of any size); a float dtype raises TypeError. The "
          "result is a vexa.Array of expressions (each an unmerged sum of products), one Expr for a scalar "
          "output, or, when every operand is integer, exact integers (int64 array where they fit, else object). "
          "Shapes that do not fit the subscript, and products of degree above 2, raise ValueError.");
    m.def("simplify", [](py::handle e) { return vexa::simplify_as_binary(to_expr(e)); }, "expr"_a);

    py::class_<PyModel, std::shared_ptr<PyModel>>(m, "Model", "The frozen, flat form of an expression.")
        .def(py::init([](py::handle e) { return std::make_shared<PyModel>(model_of(to_expr(e))); }), "expr"_a)
        .def_static("from_qubo", [](py::dict q, py::handle constant, const std::string &name) {
            return std::make_shared<PyModel>(model_from_qubo(q, constant, name));
        }, "q"_a, "constant"_a = 0, "name"_a = "x",
            "The model of sum w * x_i * x_j over {(i, j): w} (x_i alone when i == j).")
        .def_static("from_arrays", [](py::handle c, py::handle r, py::handle k, py::handle constant,
                                      std::optional<int64_t> n, const std::string &name) {
            return std::make_shared<PyModel>(model_from_arrays(c, r, k, constant, n, name));
        }, "coeffs"_a, "rows"_a, "cols"_a, "constant"_a = 0, "n"_a = py::none(), "name"_a = "x",
            "The model of sum coeffs[k] * x[rows[k]] * x[cols[k]], made in one bulk call.")
        .def_property_readonly("var_count", [](const PyModel &pm) { return pm.model.var_count(); })
        .def_property_readonly("int_var_count", [](const PyModel &pm) { return pm.model.int_var_count(); })
        .def_property_readonly("constant", [](const PyModel &pm) { return pm.model.constant(); })
        .def_property_readonly("native_constraint_count",
                               [](const PyModel &pm) { return pm.model.native_constraint_count(); })
        .def_property_readonly("variables", [](const PyModel &pm) {
            py::list out;
            for (uint64_t i = 0; i < pm.model.var_count(); ++i) out.append(pm.model.var(i));
            return out;
        })
        .def("term_count", [](const PyModel &pm, uint32_t d) { return pm.model.term_count(d); }, "degree"_a)
        .def("has", [](const PyModel &pm, const vexa::Var &v) { return pm.model.has(v); })
        .def("__repr__", [](const PyModel &pm) {
            return "Model(" + std::to_string(pm.model.var_count()) + " variables, " +
                   std::to_string(pm.model.term_count(1)) + " linear and " + std::to_string(pm.model.term_count(2)) +
                   " quadratic terms)";
        });

    py::class_<PySol>(m, "Sol", "One assignment of a model's variables with its exact energy.")
        .def(py::init([](py::handle model, py::object values) { return make_sol(as_model(model), values); }),
             "model"_a, "values"_a = py::none(),
             "The assignment of the model with the given {Var or NativeIntVar: value}, every other variable 0 "
             "and every integer at its lower bound.")
        .def_property_readonly("energy", [](const PySol &s) { return s.sol.energy(); })
        .def("__getitem__", [](const PySol &s, py::handle k) { return sol_get(s.sol, k); })
        .def_property_readonly("sample", [](const PySol &s) { return sol_sample(s.sol); })
        .def("to_numpy", [](const PySol &s, py::object vars) { return sol_to_numpy(s.sol, *s.model, vars); },
             "vars"_a = py::none())
        .def("values", [](const PySol &s, py::handle a) { return sol_values(s.sol, a); }, "array"_a,
             "The values of an array of variables and expressions, as Result.values.");

    py::class_<PyResult>(m, "Result", "The best solution of a search, with the search's information.")
        .def_property_readonly("energy", [](const PyResult &r) { return r.result.energy(); })
        .def_property_readonly("tts", [](const PyResult &r) { return r.result.tts(); })
        .def("__getitem__", [](const PyResult &r, py::handle k) { return sol_get(r.result, k); })
        .def_property_readonly("sample", [](const PyResult &r) { return sol_sample(r.result); })
        .def_property_readonly("info", [](const PyResult &r) {
            py::dict out;
            for (const auto &[k, v] : r.result.info()) out[py::str(k)] = info_value(v);
            return out;
        })
        .def_property_readonly("topk", [](const PyResult &r) {
            py::list out;
            for (const vexa::Sol &s : r.result.topk()) out.append(PySol{s, r.model});
            return out;
        })
        .def("to_numpy", [](const PyResult &r, py::object vars) { return sol_to_numpy(r.result, *r.model, vars); },
             "vars"_a = py::none(),
             "0/1 values: of the given array of variables (same shape), else of x[0..n) of a model made by "
             "from_qubo or from_arrays, else of the model's variables in order.")
        .def("values", [](const PyResult &r, py::handle a) { return sol_values(r.result, a); }, "array"_a,
             "The values of an array (or list) of variables, expressions and ints on this solution, in its shape: "
             "int64 where every value fits, else an object array of Python ints. A variable the model does not "
             "hold reads as 0 (its negation as 1), a term over one in an expression as 0; a native integer "
             "variable the model does not hold raises KeyError.")
        .def("report", [](const PyResult &r, const vexa::Expr &e) {
            py::list rows;
            for (const vexa::ConstraintRow &row : vexa::report(e, r.result)) {
                py::dict d;
                d["body"] = row.body;
                d["value"] = int_to_py(row.value);
                d["lower"] = int_to_py(row.lower);
                d["upper"] = int_to_py(row.upper);
                d["weight"] = int_to_py(row.weight);
                d["distance"] = int_to_py(row.distance);
                d["violated"] = row.violated;
                d["text"] = vexa::hpp_detail::bounds_text(row);
                rows.append(d);
            }
            return rows;
        }, "expr"_a, "One dict per constraint of expr: body, value, bounds, weight, distance, violated.")
        .def("__repr__", [](const PyResult &r) { return "Result(energy=" + r.result.energy().str() + ")"; });

    py::class_<PySolver, std::shared_ptr<PySolver>>(m, "Solver",
                                                    "A solver bound to a model; stop() may be called from any thread.")
        .def(py::init([](py::handle model, const std::string &kind) {
                 return std::make_shared<PySolver>(as_model(model), kind);
             }),
             "model"_a, "solver"_a = "nimba")
        .def("solve", [](const std::shared_ptr<PySolver> &s, py::object time_limit, py::object seed, py::object threads,
                         py::object target, py::object topk) {
            return run_search(s, searching(s, options_of(s->kind, time_limit, seed, threads, target, topk)));
        }, "time_limit"_a = py::none(), "seed"_a = py::none(), "threads"_a = py::none(), "target"_a = py::none(),
            "topk"_a = 0)
        .def("stop", &PySolver::stop, "Asks the running search, or else the next one, to end with its best so far.");

    py::class_<PyTessix, std::shared_ptr<PyTessix>>(
        m, "TessixSolver",
        "The accelerated solver on a model: a search can be watched (on_progress), offered solutions (hint) and "
        "stopped (terminate) while it runs. gpu_mode 0 runs on the CPU, a negative one uses a GPU where there is "
        "one; a positive one demands a GPU and raises ValueError where the module sees none "
        "(TessixSolver.device_count()).")
        .def(py::init([](py::handle model, int gpu_mode) {
                 return std::make_shared<PyTessix>(as_model(model), gpu_mode);
             }),
             "model"_a, "gpu_mode"_a = 0)
        .def_static("device_count", &PyTessix::device_count, "The GPUs the accelerated module can use.")
        .def("search", [](const std::shared_ptr<PyTessix> &t, py::object time_limit, py::object seed,
                          py::object threads, py::object target, py::object topk, py::object hint) {
            return tessix_search(t, options_of(t->kind, time_limit, seed, threads, target, topk), hint);
        }, "time_limit"_a = py::none(), "seed"_a = py::none(), "threads"_a = py::none(), "target"_a = py::none(),
            "topk"_a = 0, "hint"_a = py::none(),
            "One search (1 s without a time_limit), as vexa.solve; hint, a Sol or Result of this model with "
            "integer variables, is where it starts. An exception raised by the progress callable stops the search "
            "and is raised here.")
        .def("on_progress", &PyTessix::set_progress, "fn"_a,
             "fn(sol, event) is called from the search's threads (holding the GIL) with a Sol and event 0 (the "
             "start state), 1 (a new best) or 2 (the timer). A number returned sets the timer: positive seconds "
             "arm it, 0 turns it off, a negative one or None leaves it. None removes the callable.")
        .def("hint", [](const std::shared_ptr<PyTessix> &t, py::handle s) {
            const vexa::Sol sol = sol_of_model(s, t->model);
            py::gil_scoped_release nogil;
            t->solver->hint(sol);
        }, "solution"_a, "Offers a Sol or Result of this model to the running search, or else to the next one.")
        .def("terminate", &PyTessix::stop, "Stops the running search, which returns its best so far.")
        .def_property_readonly("model", [](const PyTessix &t) { return t.model; });

    m.def("solve", [](py::handle model, const std::string &solver, py::object time_limit, py::object seed,
                      py::object threads, py::object target, py::object topk) {
        const auto s = std::make_shared<PySolver>(as_model(model), solver);
        return run_search(s, searching(s, options_of(s->kind, time_limit, seed, threads, target, topk)));
    }, "model"_a, "solver"_a = "nimba", "time_limit"_a = py::none(), "seed"_a = py::none(), "threads"_a = py::none(),
        "target"_a = py::none(), "topk"_a = 0,
        "Minimises the model with solver nimba, tessix or exhaustive. time_limit defaults to 1 s, and to none "
        "(a full enumeration) for exhaustive. Ctrl-C stops the search: KeyboardInterrupt is raised with the best result as `.result`.");
}

// vexa: solves QUBO, Max-Cut and integer linear problems from files, and
// converts between the file formats.
//
//   vexa solve FILE [--format qubo|matrix|gset|lp] [--solver nimba|tessix|portfolio|exhaustive|cbc]
//                   [--time-limit S] [--threads N] [--seed N] [--target E]
//                   [--topk K] [--instance K] [--json] [--quiet]
//   vexa convert IN OUT [--format qubo|matrix|gset|lp] [--instance K]
//   vexa --version | vexa help
//
// FILE "-" is standard input. Exit status: 0 solved, 2 bad input (arguments,
// file, contents), 1 anything else. Nothing reaches standard output unless
// the whole run succeeds; warnings about options without effect go to
// standard error, one line each.
#include <dirent.h>
#include <dlfcn.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unordered_map>
#include <iostream>
#include <optional>
#include <thread>
#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "allocator_settings.hpp"
#include "interrupt.hpp"
#include "lp_model.hpp"
#include "problem_expr.hpp"
#include "progress.hpp"
#include "readers/parallel_parts.hpp"
#include "readers/lp.hpp"
#include "readers/readers.hpp"
#include "report.hpp"
#include "vexa/solver_module.h"
#include "vexa/sysinfo.h"
#include "vexa/vexa.hpp"
#ifdef VEXA_TOOL_HAS_CBC
#include "vexa/mip.hpp"
#endif

#ifndef VEXA_TOOL_BUILD_TYPE
#define VEXA_TOOL_BUILD_TYPE "unknown"
#endif

namespace {

using namespace vexa::cli;

constexpr int kInputError = 2;
// Exhaustive search visits 2^n assignments; beyond this it would not end.
constexpr uint64_t kExhaustiveLimit = 40;
// A year of search: longer limits are typing mistakes.
constexpr double kMaxTimeLimit = 31536000.0;

struct Settings {
    std::string file;
    std::string format;
    std::string solver = "nimba";
    std::optional<std::string> instance;
    std::optional<std::string> time_limit;
    std::optional<std::string> threads;
    std::optional<std::string> seed;
    std::optional<std::string> target;
    std::optional<std::string> topk;
    bool json = false;
    bool quiet = false;
};

// An error that ends the run with a status and a one-line message.
struct Failure {
    int status;
    std::string message;
};

void warn(const std::string &message) { std::cerr << "vexa: warning: " << message << "\n"; }

// A whole number of the option in [lo, hi], refused with the bounds in words.
uint64_t whole_number(const std::string &option, const std::string &text, uint64_t lo, uint64_t hi) {
    uint64_t v = 0;
    const char *end = text.data() + text.size();
    const auto res = std::from_chars(text.data(), end, v);
    if (text.empty() || res.ec == std::errc::invalid_argument || res.ptr != end) {
        throw Failure{kInputError, option + ": '" + text + "' is not a whole number"};
    }
    if (res.ec == std::errc::result_out_of_range || v < lo || v > hi) {
        throw Failure{kInputError,
                      option + ": " + text + " is out of range " + std::to_string(lo) + ".." + std::to_string(hi)};
    }
    return v;
}

// Seconds: a finite number above 0, at most a year.
double time_limit_of(const std::string &text) {
    double v = 0;
    const char *end = text.data() + text.size();
    const auto res = std::from_chars(text.data(), end, v);
    if (text.empty() || res.ec == std::errc::invalid_argument || res.ptr != end || !std::isfinite(v)) {
        throw Failure{kInputError, "--time-limit: '" + text + "' is not a number of seconds"};
    }
    if (res.ec == std::errc::result_out_of_range || !(v > 0) || v > kMaxTimeLimit) {
        throw Failure{kInputError, "--time-limit: " + text + " is out of range; give more than 0 and at most " +
                                       std::to_string(static_cast<long>(kMaxTimeLimit)) + " seconds"};
    }
    return v;
}

// The directory of the library, where its solver modules lie.
std::string library_dir() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&vexa_var_reset), &info) != 0 && info.dli_fname != nullptr) {
        const std::string lib = info.dli_fname;
        const std::size_t slash = lib.find_last_of('/');
        return slash == std::string::npos ? "./" : lib.substr(0, slash + 1);
    }
    return "lib/";
}

// Where the library looks for a solver module: $VEXA_LIB_DIR (heuristic and
// accelerated solvers only), else the library's own directory.
std::string module_path(const std::string &solver) {
    std::string dir;
    const char *env = std::getenv("VEXA_LIB_DIR");
    if (solver != "exhaustive" && env != nullptr && env[0] != '\0') {
        dir = env;
        if (dir.back() != '/') dir += '/';
    } else {
        dir = library_dir();
    }
    if (solver == "tessix") return dir + "tessix_cppint.so";
    return dir + (solver == "nimba" ? "nimbasolver_cppint.so" : "exhaustive_cppint.so");
}

// The search settings from the options, each checked before any file is read.
vexa::SearchOptions search_options(const Settings &s) {
    vexa::SearchOptions o;
    const bool exhaustive = s.solver == "exhaustive";
    if (s.time_limit) o.time_limit = time_limit_of(*s.time_limit);
    // The accelerated module has a default of its own; the tool keeps every
    // solver to the 10 seconds its progress line announces.
    if (!s.time_limit && (s.solver == "tessix" || s.solver == "portfolio")) o.time_limit = 10.0;
    o.threads = s.threads ? std::optional<uint32_t>(static_cast<uint32_t>(whole_number("--threads", *s.threads, 1, kMaxThreads)))
                          : env_threads();
    if (s.seed) {
        const uint64_t seed = whole_number("--seed", *s.seed, 0, UINT64_MAX);
        if (!exhaustive) o.seed = seed;
    }
    if (s.target) {
        vexa::Int target;
        try {
            target = vexa::Int(*s.target);
        } catch (const std::invalid_argument &) {
            throw Failure{kInputError, "--target: '" + *s.target + "' is not an integer energy"};
        }
        if (!exhaustive) o.target_energy = target;
    }
    if (s.topk) o.topk = whole_number("--topk", *s.topk, 1, UINT32_MAX);
    return o;
}

// One line on standard error for each option that changes nothing here.
void warn_solver_options(const Settings &s) {
    if (s.solver == "exhaustive") {
        if (s.seed) warn("--seed has no effect with the exhaustive solver");
        if (s.target) warn("--target has no effect with the exhaustive solver, which always finds the minimum");
    }
    if (s.solver == "cbc") {
        if (s.seed) warn("--seed has no effect with the cbc solver");
        if (s.target) warn("--target has no effect with the cbc solver, which proves the minimum");
        if (s.topk) warn("--topk has no effect with the cbc solver, which keeps one solution");
    }
}

void warn_without_effect(const Settings &s, const vexa::SearchOptions &o, const Problem &problem) {
    warn_solver_options(s);
    if (s.instance && problem.collection == 0) {
        warn("--instance has no effect: " + std::string(problem.format == Format::matrix
                                                             ? "the file holds a single problem"
                                                             : "only a matrix file holds several problems"));
    }
    // Every format is maximised and the energy is the negated objective, so
    // the energies worth aiming at are negative.
    if (o.target_energy && o.target_energy->sign() > 0) {
        const std::string what = objective_name(problem.format);
        warn("--target " + *s.target + " is an energy, the negated " + what + "; to stop at a " + what + " of " +
             *s.target + ", give --target " + (-*o.target_energy).str());
    }
}

Outcome::Solution solution_of(const vexa::Sol &sol, const ProblemEnergy &pe, uint64_t n) {
    return Outcome::Solution{sol.energy(), sol.tts(), file_assignment(pe, n, sol)};
}

// The heuristic module reports each new best energy to the callback that is
// registered with it; the library registers its own when the solver is made,
// so the tool's goes in afterwards and feeds the progress line.
vexa::cli::BestSoFar g_best;

double record_best(void *, const vexa_bigint *energy, const uint64_t *, uint32_t, double) {
    g_best.set(vexa::Int::from_record(*energy).str());
    return -1.0;  // leave the module's timer as it is
}

void watch_best(const std::string &module) {
    void *h = dlopen(module.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h == nullptr) return;
    auto reg = reinterpret_cast<vexa_register_callback_fn>(dlsym(h, "vexa_nimba_solver_register_callback"));
    if (reg != nullptr) reg(&record_best);
    dlclose(h);
}

// The model solved exactly by CBC, with its status, bound and gap as info
// pairs. Only a model without quadratic terms is an integer linear program.
vexa::Sol solve_with_cbc(const vexa::Model &model, const vexa::SearchOptions &options, const std::string &name,
                         std::vector<std::pair<std::string, std::string>> &info) {
#ifdef VEXA_TOOL_HAS_CBC
    std::optional<vexa::MipSolver> solver;
    try {
        solver.emplace(model);
    } catch (const std::invalid_argument &e) {
        throw Failure{kInputError, name + ": the cbc solver takes only linear problems: " + e.what()};
    }
    vexa::MipResult r;
    try {
        r = solver->solve({.time_limit = options.time_limit, .threads = options.threads});
    } catch (const std::range_error &e) {
        throw Failure{kInputError, name + ": " + e.what()};
    }
    if (!r.sol) throw Failure{1, name + ": cbc found no solution (" + std::string(vexa::to_string(r.status)) + ")"};
    char run_time[32];
    std::snprintf(run_time, sizeof run_time, "%.6f", r.run_time);
    info.emplace_back("engine", "cbc");
    info.emplace_back("status", std::string(vexa::to_string(r.status)));
    if (r.bound) info.emplace_back("bound", r.bound->str());
    if (r.gap) info.emplace_back("gap", std::to_string(*r.gap));
    info.emplace_back("run_time", run_time);
    return std::move(*r.sol);
#else
    (void)model;
    (void)options;
    (void)name;
    (void)info;
    throw Failure{1, "this vexa was built without CBC, so --solver cbc is not available; install coinor-libcbc-dev "
                     "(scripts/setup.sh) and build again"};
#endif
}

// The solver's module must be there, except for the accelerated solver on a
// model with integer variables, which is searched in the library.
void check_module(const std::string &solver, const vexa::Model &model) {
    if (solver != "tessix" || model.int_var_count() == 0) {
        const std::string module = module_path(solver);
        if (!std::filesystem::exists(module)) throw Failure{1, "solver module " + module + " not found"};
    }
}

// The accelerated solver: its progress callable feeds the progress line.
vexa::Result search_tessix(const Settings &s, const vexa::SearchOptions &options, const vexa::Model &model) {
    check_module("tessix", model);
    vexa::TessixSolver solver(model);
    // A search clears a stop request made before it began, so a signal that
    // came during its start is passed on again from its progress.
    solver.on_progress([&solver](const vexa::Sol &sol, uint32_t event) {
        if (event == 1) g_best.set(sol.energy().str());
        if (interrupt_status() != 0) solver.terminate();
    });
    const StopTarget stop(solver);
    const Progress progress(!s.quiet, s.time_limit.value_or("10"), &g_best);
    return solver.search(options);
}

// Both a portfolio's solvers, stopped together by a signal.
struct PortfolioStop {
    const vexa::NimbaSolver &nimba;
    const vexa::TessixSolver &tessix;
    void terminate() const noexcept {
        nimba.terminate();
        tessix.terminate();
    }
};

// The heuristic and the accelerated solver at once, the threads split
// between them (one each with two), the same time limit and target. When one
// reaches the target the other is stopped; the lower energy wins (the
// heuristic one on a tie), and `winner` names its solver.
vexa::Result search_portfolio(const Settings &s, const vexa::SearchOptions &options, const vexa::Model &model,
                              std::string &winner) {
    check_module("nimba", model);
    check_module("tessix", model);
    const uint32_t threads = options.threads.value_or(std::max(2u, std::thread::hardware_concurrency()));
    vexa::SearchOptions nimba_options = options, tessix_options = options;
    nimba_options.threads = std::max(1u, threads / 2);
    tessix_options.threads = std::max(1u, threads - threads / 2);
    const vexa::NimbaSolver nimba(model);
    vexa::TessixSolver tessix(model);
    tessix.on_progress([](const vexa::Sol &sol, uint32_t event) {
        if (event == 1) g_best.set(sol.energy().str());
    });
    const PortfolioStop both{nimba, tessix};
    const StopTarget stop(both);
    const Progress progress(!s.quiet, s.time_limit.value_or("10"), &g_best);
    std::optional<vexa::Result> nimba_result, tessix_result;
    std::atomic<bool> nimba_done{false}, tessix_done{false};
    std::thread nimba_thread([&] {
        nimba_result.emplace(nimba.search(nimba_options));
        nimba_done = true;
    });
    std::thread tessix_thread([&] {
        tessix_result.emplace(tessix.search(tessix_options));
        tessix_done = true;
    });
    auto reached = [&options](const vexa::Result &r) {
        return options.target_energy && r.energy() <= *options.target_energy;
    };
    // A stop request reaches the accelerated solver only once its search has
    // begun, so the watch repeats it until that search is over.
    while (!nimba_done || !tessix_done) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (nimba_done && !tessix_done && (reached(*nimba_result) || interrupt_status() != 0)) tessix.terminate();
        if (tessix_done && !nimba_done && (reached(*tessix_result) || interrupt_status() != 0)) nimba.terminate();
    }
    nimba_thread.join();
    tessix_thread.join();
    if (tessix_result->energy() < nimba_result->energy()) {
        winner = "tessix";
        return std::move(*tessix_result);
    }
    winner = "nimba";
    return std::move(*nimba_result);
}

// The search of a model by the chosen solver; `winner` is set by a
// portfolio.
vexa::Result search(const Settings &s, const vexa::SearchOptions &options, const vexa::Model &model,
                    std::string &winner) {
    if (s.solver == "tessix") return search_tessix(s, options, model);
    if (s.solver == "portfolio") return search_portfolio(s, options, model, winner);
    check_module(s.solver, model);
    if (s.solver == "nimba") {
        const vexa::NimbaSolver solver(model);
        const StopTarget stop(solver);
        watch_best(module_path(s.solver));
        const Progress progress(!s.quiet, s.time_limit.value_or("10"), &g_best);
        return solver.search(options);
    }
    const vexa::ExhaustiveSolver solver(model);
    const StopTarget stop(solver);
    const Progress progress(!s.quiet, s.time_limit, nullptr);
    return solver.search(options);
}

bool stopped_early(const vexa::Result &r) {
    return r.info("complete") == std::optional<std::string>("0") &&
           r.info("time_limit_reached") == std::optional<std::string>("1");
}

// Whether the input is an LP file: by --format, else by its name or first word.
bool lp_input(const std::string &format, Input &in) {
    if (!format.empty()) return format == "lp";
    return looks_like_lp(in.head(), in.name());
}

void check_exhaustive(const Settings &s, const vexa::Model &model, const std::string &name) {
    if (s.solver == "exhaustive" && model.var_count() > kExhaustiveLimit) {
        throw Failure{kInputError, name + ": exhaustive search over " + std::to_string(model.var_count()) +
                                       " variables would not end; it takes at most " +
                                       std::to_string(kExhaustiveLimit)};
    }
}

// An LP file: its variables by name, its objective in its own sense.
std::string solve_lp(const Settings &s, vexa::SearchOptions options, Input &in) {
    const std::string &name = in.name();
    const LpEnergy le = build_lp_energy(read_lp(in, name));
    warn_solver_options(s);
    if (s.instance) warn("--instance has no effect: only a matrix file holds several problems");
    const vexa::Model model = vexa::Model::from(le.energy);
    check_exhaustive(s, model, name);
    // The exhaustive search of integer variables runs on one thread and to
    // the end: a limit given on the command line is refused, a thread count
    // from the environment left aside.
    if (s.solver == "exhaustive" && model.int_var_count() > 0) {
        if (s.time_limit) {
            throw Failure{kInputError, "--time-limit: the exhaustive solver takes no time limit on a model with integer "
                                       "variables"};
        }
        if (s.threads) {
            throw Failure{kInputError, "--threads: the exhaustive solver searches a model with integer variables on one "
                                       "thread"};
        }
        options.threads.reset();
    }
    LpOutcome o;
    o.file = s.file;
    o.maximize = le.maximize;
    o.rows = le.rows;
    o.solver = s.solver;
    for (const LpColumn &c : le.columns) o.names.push_back(c.name);
    if (s.solver == "cbc") {
        const vexa::Sol best = solve_with_cbc(model, options, name, o.info);
        o.energy = best.energy();
        o.tts = best.tts();
        o.values = lp_values(le, best);
        o.violated = le.rows > 0 ? vexa::violations(le.energy, best) : 0;
    } else {
        std::string winner;
        const vexa::Result result = search(s, options, model, winner);
        o.energy = result.energy();
        o.tts = result.tts();
        o.values = lp_values(le, result);
        o.violated = le.rows > 0 ? vexa::violations(le.energy, result) : 0;
        o.info = result.info();
        if (!winner.empty()) o.info.emplace_back("solver", winner);
        o.stopped_early = stopped_early(result);
    }
    return s.json ? lp_json_report(o) : lp_text_report(o);
}

std::string solve(const Settings &s) {
    const vexa::SearchOptions options = search_options(s);
    const uint64_t instance = s.instance ? whole_number("--instance", *s.instance, 1, UINT64_MAX) : 1;
    Input in(s.file);
    const std::string &name = in.name();
    if (lp_input(s.format, in)) return solve_lp(s, options, in);
    Format format;
    if (!s.format.empty()) {
        format = *parse_format(s.format);
    } else {
        format = detect_format(in.head(), name);
    }
    Problem problem = read_problem(in, name, format, instance);
    warn_without_effect(s, options, problem);

    Outcome o;
    o.file = s.file;
    o.format = format;
    o.variables = problem.n;
    o.entries = problem.entries.size();
    o.index_base = problem.index_base;
    o.solver = s.solver;

    ProblemEnergy pe = build_energy(std::move(problem));
    const vexa::Model model(pe.energy);
    pe.energy = vexa::Expr();  // the model holds what the search needs
    check_exhaustive(s, model, name);
    if (s.solver == "cbc") {
        const vexa::Sol best = solve_with_cbc(model, options, name, o.info);
        o.best = solution_of(best, pe, o.variables);
        return s.json ? json_report(o) : text_report(o);
    }
    std::string winner;
    const vexa::Result result = search(s, options, model, winner);
    o.best = solution_of(result, pe, o.variables);
    for (const vexa::Sol &alt : result.topk()) o.topk.push_back(solution_of(alt, pe, o.variables));
    o.info = result.info();
    if (!winner.empty()) o.info.emplace_back("solver", winner);
    o.stopped_early = stopped_early(result);
    return s.json ? json_report(o) : text_report(o);
}

// ---------------------------------------------------------------------------
// vexa convert
// ---------------------------------------------------------------------------

struct ConvertSettings {
    std::string in;
    std::string out;
    std::string format;
    std::optional<std::string> instance;
};

enum class Target { lp, mps, qubo };

Target target_of(const std::string &path) {
    std::string name = path;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    auto ends = [&](std::string_view suffix) {
        return name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
    };
    if (ends(".lp")) return Target::lp;
    if (ends(".mps")) return Target::mps;
    if (ends(".qubo")) return Target::qubo;
    throw Failure{kInputError, "convert: cannot tell the output format of '" + path +
                                   "'; give a name ending in .lp, .mps or .qubo"};
}

// The model as a qbsolv file: f = -energy to be maximised, variables in the
// model's order, 0-based. The constant of the energy has no place in the
// format and is named in a comment.
std::string qubo_text(const vexa::Model &model, const vexa::Expr &energy, const std::string &name) {
    if (model.int_var_count() > 0 || model.native_constraint_count() > 0 || model.max_degree() > 2) {
        std::string what;
        if (model.int_var_count() > 0) what = std::to_string(model.int_var_count()) + " integer variables";
        if (model.native_constraint_count() > 0) {
            what += (what.empty() ? "" : " and ") + std::to_string(model.native_constraint_count()) + " constraints";
        }
        if (what.empty()) what = "terms of degree " + std::to_string(model.max_degree());
        throw Failure{kInputError, name + ": only a model of binary variables without constraints, of degree at most "
                                          "2, can be written as .qubo; this one has " + what};
    }
    std::unordered_map<uint32_t, uint64_t> index;
    for (uint64_t k = 0; k < model.var_count(); ++k) index.emplace(model.var(k).code(), k);
    std::string diagonal, links;
    uint64_t nodes = 0, nlinks = 0;
    const uint64_t terms = energy.term_count();
    for (uint64_t t = 0; t < terms; ++t) {
        const vexa::Term term = energy.term(t);
        const uint32_t d = term.degree();
        if (d == 0) continue;
        std::vector<uint64_t> at;
        for (uint32_t k = 0; k < d; ++k) {
            const auto it = index.find(term.var_code(k));
            if (it == index.end()) throw Failure{1, name + ": a term names a variable that the model does not hold"};
            at.push_back(it->second);
        }
        const std::string w = (-term.coeff()).str();
        if (d == 1) {
            diagonal += std::to_string(at[0]) + " " + std::to_string(at[0]) + " " + w + "\n";
            ++nodes;
        } else {
            links += std::to_string(std::min(at[0], at[1])) + " " + std::to_string(std::max(at[0], at[1])) + " " + w + "\n";
            ++nlinks;
        }
    }
    std::string out = "c written by vexa convert from " + name + "; f = -energy\n";
    if (!model.constant().is_zero()) {
        out += "c the energy also holds the constant " + model.constant().str() + ", which this format cannot carry\n";
    }
    out += "p qubo 0 " + std::to_string(model.var_count()) + " " + std::to_string(nodes) + " " + std::to_string(nlinks) + "\n";
    return out + diagonal + links;
}

void convert(const ConvertSettings &c) {
    const Target target = target_of(c.out);
    const uint64_t instance = c.instance ? whole_number("--instance", *c.instance, 1, UINT64_MAX) : 1;
    Input in(c.in);
    const std::string &name = in.name();
    vexa::Expr energy;
    if (lp_input(c.format, in)) {
        if (c.instance) warn("--instance has no effect: only a matrix file holds several problems");
        energy = vexa::simplify_as_binary(build_lp_energy(read_lp(in, name)).energy);
    } else {
        const Format format = c.format.empty() ? detect_format(in.head(), name) : *parse_format(c.format);
        Problem problem = read_problem(in, name, format, instance);
        if (c.instance && problem.collection == 0) warn("--instance has no effect: the file holds a single problem");
        energy = build_energy(std::move(problem)).energy;
    }
    const vexa::Model model(energy);
    std::ostringstream text;
    if (target == Target::qubo) {
        text << qubo_text(model, energy, name);
    } else {
        std::optional<vexa::Ilp> ilp = vexa::Ilp::try_build(model);
        if (!ilp) {
            throw Failure{kInputError, name + ": cannot be written as " + (target == Target::lp ? "LP" : "MPS") +
                                           ": " + vexa::Ilp::last_error()};
        }
        try {
            if (target == Target::lp) {
                ilp->write_lp(text);
            } else {
                ilp->write_mps(text);
            }
        } catch (const std::range_error &e) {
            throw Failure{kInputError, name + ": " + e.what()};
        }
    }
    std::ofstream out(c.out, std::ios::binary | std::ios::trunc);
    if (!out) throw Failure{kInputError, "cannot write " + c.out + ": " + std::strerror(errno)};
    const std::string bytes = text.str();
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) throw Failure{1, "cannot write " + c.out + ": " + std::strerror(errno)};
}

// The modules beside the library (and in $VEXA_LIB_DIR), by file name.
std::vector<std::string> modules_found() {
    std::vector<std::string> dirs = {library_dir()};
    if (const char *env = std::getenv("VEXA_LIB_DIR"); env != nullptr && env[0] != '\0') dirs.emplace_back(env);
    std::vector<std::string> found;
    for (const std::string &dir : dirs) {
        std::error_code ec;
        for (const auto &entry : std::filesystem::directory_iterator(dir, ec)) {
            const std::string file = entry.path().filename().string();
            const bool module = (file.rfind("nimbasolver_", 0) == 0 || file.rfind("exhaustive_", 0) == 0 ||
                                 file.rfind("tessix", 0) == 0) &&
                                file.size() > 3 && file.compare(file.size() - 3, 3, ".so") == 0;
            if (module && std::find(found.begin(), found.end(), file) == found.end()) found.push_back(file);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string version_text() {
    std::string out = std::string("vexa ") + vexa_const_str("version") + " (" + VEXA_TOOL_BUILD_TYPE + " build)\n";
    out += "library  " + library_dir() + "\n";
    const std::vector<std::string> mods = modules_found();
    out += "modules  ";
    if (mods.empty()) out += "(none found)";
    for (std::size_t k = 0; k < mods.size(); ++k) out += (k ? ", " : "") + mods[k];
    return out + "\n";
}

}  // namespace

int main(int argc, char **argv) {
    keep_big_blocks_mapped();
    CLI::App app{"vexa: solves QUBO, Max-Cut and integer linear problems with exact integer energies"};
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "print the library version, build type and the solver modules found");
    Settings s;
    CLI::App *cmd = app.add_subcommand("solve", "Read a problem file, search it, print the best solution");
    ConvertSettings cs;
    CLI::App *conv = app.add_subcommand("convert", "Read a problem file and write it as .lp, .mps or .qubo");
    conv->add_option("IN", cs.in, "any file that solve reads; - reads standard input")->required();
    conv->add_option("OUT", cs.out, "the file to write; its extension (.lp, .mps, .qubo) tells the format")->required();
    conv->add_option("--format", cs.format, "input format; recognised from the file when left out")
        ->check(CLI::IsMember({"qubo", "matrix", "gset", "lp"}));
    conv->add_option("--instance", cs.instance, "problem of a Beasley collection file, from 1");
    CLI::App *help = app.add_subcommand("help", "Print this help");
    cmd->add_option("FILE", s.file,
                    "qbsolv .qubo file, MQLib / Beasley matrix, G-set edge list or CPLEX LP file; - reads standard input")
        ->required();
    cmd->add_option("--format", s.format, "file format; recognised from the file when left out")
        ->check(CLI::IsMember({"qubo", "matrix", "gset", "lp"}));
    cmd->add_option("--instance", s.instance, "problem of a Beasley collection file, from 1");
    cmd->add_option("--solver", s.solver,
                    "nimba (heuristic, default), tessix (accelerated), portfolio (nimba and tessix at once, the "
                    "threads split between them), exhaustive (every assignment) or cbc (exact, linear problems only; "
                    "needs a build with CBC)")
        ->check(CLI::IsMember({"nimba", "tessix", "portfolio", "exhaustive", "cbc"}));
    cmd->add_option("--time-limit", s.time_limit,
                    "seconds of search (nimba, tessix, portfolio: default 10; exhaustive: none)");
    cmd->add_option("--threads", s.threads, "search threads (default: VEXA_NUM_THREADS, else every core)");
    cmd->add_option("--seed", s.seed, "random seed (nimba, tessix, portfolio), 0 .. 2^64-1");
    cmd->add_option("--target", s.target,
                    "stop at this energy or below (nimba, tessix, portfolio; energy = -objective)");
    cmd->add_option("--topk", s.topk, "also keep up to this many further solutions");
    cmd->add_flag("--json", s.json, "print one JSON document");
    cmd->add_flag("--quiet", s.quiet, "no progress line on standard error");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        std::string what = e.what();
        std::replace(what.begin(), what.end(), '\n', ' ');
        std::cerr << "vexa: " << what << "\n";
        return kInputError;
    }
    if (version) {
        std::cout << version_text() << std::flush;
        return 0;
    }
    if (help->parsed()) {
        std::cout << app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal) << std::flush;
        return 0;
    }
    if (!cmd->parsed() && !conv->parsed()) {
        std::cerr << "vexa: no command given; try 'vexa solve FILE' or 'vexa help'\n";
        return kInputError;
    }
    try {
        if (conv->parsed()) {
            convert(cs);
            return 0;
        }
        install_stop_handlers();
        const std::string out = solve(s);
        std::cout << out << std::flush;
        if (const int status = interrupt_status(); status != 0) return status;
        return std::cout ? 0 : 1;
    } catch (const ReadError &e) {
        std::cerr << e.what() << "\n";
        return kInputError;
    } catch (const Failure &f) {
        std::cerr << "vexa: " << f.message << "\n";
        return f.status;
    } catch (const std::exception &e) {
        std::cerr << "vexa: " << e.what() << "\n";
        return 1;
    }
}

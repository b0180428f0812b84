// vexa: solves QUBO and Max-Cut instances from files.
//
//   vexa solve FILE [--format qubo|matrix|gset] [--solver nimba|exhaustive|cbc]
//                   [--time-limit S] [--threads N] [--seed N] [--target E]
//                   [--topk K] [--instance K] [--json] [--quiet]
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
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "interrupt.hpp"
#include "problem_expr.hpp"
#include "progress.hpp"
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
constexpr uint32_t kMaxThreads = 4096;

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

// Where the library looks for a solver module: $VEXA_LIB_DIR (heuristic
// solver only), else the library's own directory.
std::string module_path(const std::string &solver) {
    std::string dir;
    const char *env = std::getenv("VEXA_LIB_DIR");
    if (solver == "nimba" && env != nullptr && env[0] != '\0') {
        dir = env;
        if (dir.back() != '/') dir += '/';
    } else {
        dir = library_dir();
    }
    return dir + (solver == "nimba" ? "nimbasolver_cppint.so" : "exhaustive_cppint.so");
}

// The search threads when --threads is not given: VEXA_NUM_THREADS when it
// holds a count above 0, else the solver's own choice (every core).
std::optional<uint32_t> default_threads() {
    const char *env = std::getenv("VEXA_NUM_THREADS");
    if (env == nullptr) return std::nullopt;
    const long v = std::strtol(env, nullptr, 10);
    if (v <= 0) return std::nullopt;
    return static_cast<uint32_t>(std::min<long>(v, kMaxThreads));
}

// The search settings from the options, each checked before any file is read.
vexa::SearchOptions search_options(const Settings &s) {
    vexa::SearchOptions o;
    const bool exhaustive = s.solver == "exhaustive";
    if (s.time_limit) o.time_limit = time_limit_of(*s.time_limit);
    o.threads = s.threads ? std::optional<uint32_t>(static_cast<uint32_t>(whole_number("--threads", *s.threads, 1, kMaxThreads)))
                          : default_threads();
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
void warn_without_effect(const Settings &s, const vexa::SearchOptions &o, const Problem &problem) {
    if (s.solver == "exhaustive") {
        if (s.seed) warn("--seed has no effect with the exhaustive solver");
        if (s.target) warn("--target has no effect with the exhaustive solver, which always finds the minimum");
    }
    if (s.solver == "cbc") {
        if (s.seed) warn("--seed has no effect with the cbc solver");
        if (s.target) warn("--target has no effect with the cbc solver, which proves the minimum");
        if (s.topk) warn("--topk has no effect with the cbc solver, which keeps one solution");
    }
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

std::string solve(const Settings &s) {
    const vexa::SearchOptions options = search_options(s);
    const uint64_t instance = s.instance ? whole_number("--instance", *s.instance, 1, UINT64_MAX) : 1;
    Input in(s.file);
    const std::string &name = in.name();
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
    if (s.solver == "exhaustive" && model.var_count() > kExhaustiveLimit) {
        throw Failure{kInputError, name + ": exhaustive search over " + std::to_string(model.var_count()) +
                                       " variables would not end; it takes at most " +
                                       std::to_string(kExhaustiveLimit)};
    }
    if (s.solver == "cbc") {
        const vexa::Sol best = solve_with_cbc(model, options, name, o.info);
        o.best = solution_of(best, pe, o.variables);
        return s.json ? json_report(o) : text_report(o);
    }
    const std::string module = module_path(s.solver);
    if (!std::filesystem::exists(module)) throw Failure{1, "solver module " + module + " not found"};

    std::optional<vexa::Result> result;
    if (s.solver == "nimba") {
        const vexa::NimbaSolver solver(model);
        const StopTarget stop(solver);
        watch_best(module);
        const Progress progress(!s.quiet, s.time_limit.value_or("10"), &g_best);
        result = solver.search(options);
    } else {
        const vexa::ExhaustiveSolver solver(model);
        const StopTarget stop(solver);
        const Progress progress(!s.quiet, s.time_limit, nullptr);
        result = solver.search(options);
    }

    o.best = solution_of(*result, pe, o.variables);
    for (const vexa::Sol &alt : result->topk()) o.topk.push_back(solution_of(alt, pe, o.variables));
    o.info = result->info();
    o.stopped_early = result->info("complete") == std::optional<std::string>("0") &&
                      result->info("time_limit_reached") == std::optional<std::string>("1");
    return s.json ? json_report(o) : text_report(o);
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
    CLI::App app{"vexa: solves QUBO and Max-Cut instances with exact integer energies"};
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "print the library version, build type and the solver modules found");
    Settings s;
    CLI::App *cmd = app.add_subcommand("solve", "Read a problem file, search it, print the best solution");
    CLI::App *help = app.add_subcommand("help", "Print this help");
    cmd->add_option("FILE", s.file, "qbsolv .qubo file, MQLib / Beasley matrix, or G-set edge list; - reads standard input")
        ->required();
    cmd->add_option("--format", s.format, "file format; recognised from the file when left out")
        ->check(CLI::IsMember({"qubo", "matrix", "gset"}));
    cmd->add_option("--instance", s.instance, "problem of a Beasley collection file, from 1");
    cmd->add_option("--solver", s.solver,
                    "nimba (heuristic, default), exhaustive (every assignment) or cbc (exact, linear problems only; "
                    "needs a build with CBC)")
        ->check(CLI::IsMember({"nimba", "exhaustive", "cbc"}));
    cmd->add_option("--time-limit", s.time_limit, "seconds of search (nimba: default 10; exhaustive: none)");
    cmd->add_option("--threads", s.threads, "search threads (default: VEXA_NUM_THREADS, else every core)");
    cmd->add_option("--seed", s.seed, "random seed (nimba), 0 .. 2^64-1");
    cmd->add_option("--target", s.target, "stop at this energy or below (nimba; energy = -objective)");
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
    if (!cmd->parsed()) {
        std::cerr << "vexa: no command given; try 'vexa solve FILE' or 'vexa help'\n";
        return kInputError;
    }
    try {
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

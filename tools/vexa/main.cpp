// vexa: solves QUBO and Max-Cut instances from files.
//
//   vexa solve FILE [--format qubo|matrix|gset] [--solver nimba|exhaustive]
//                   [--time-limit S] [--threads N] [--seed N] [--target E]
//                   [--topk K] [--instance K] [--json] [--quiet]
//
// Exit status: 0 solved, 2 bad input (arguments, file, contents), 1 anything
// else. Nothing reaches standard output unless the whole run succeeds.
#include <dlfcn.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "problem_expr.hpp"
#include "progress.hpp"
#include "readers/readers.hpp"
#include "report.hpp"
#include "vexa/vexa.hpp"

namespace {

using namespace vexa::cli;

constexpr int kInputError = 2;
// Exhaustive search visits 2^n assignments; beyond this it would not end.
constexpr uint64_t kExhaustiveLimit = 40;

struct Settings {
    std::string file;
    std::string format;
    std::string solver = "nimba";
    uint64_t instance = 1;
    std::optional<double> time_limit;
    std::optional<uint32_t> threads;
    std::optional<uint64_t> seed;
    std::optional<std::string> target;
    std::optional<uint64_t> topk;
    bool json = false;
    bool quiet = false;
};

// An error that ends the run with a status and a one-line message.
struct Failure {
    int status;
    std::string message;
};

std::string read_file(const std::string &path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) throw ReadError(path, 0, "is a directory");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ReadError(path, 0, std::string("cannot open: ") + std::strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw ReadError(path, 0, std::string("cannot read: ") + std::strerror(errno));
    return text.str();
}

// Where the library looks for its solver modules: $VEXA_LIB_DIR (heuristic
// solver only), else the library's own directory.
std::string module_path(const std::string &solver) {
    std::string dir;
    const char *env = std::getenv("VEXA_LIB_DIR");
    if (solver == "nimba" && env != nullptr && env[0] != '\0') {
        dir = env;
        if (dir.back() != '/') dir += '/';
    } else {
        Dl_info info{};
        if (dladdr(reinterpret_cast<void *>(&vexa_var_reset), &info) != 0 && info.dli_fname != nullptr) {
            const std::string lib = info.dli_fname;
            const std::size_t slash = lib.find_last_of('/');
            dir = slash == std::string::npos ? "./" : lib.substr(0, slash + 1);
        } else {
            dir = "lib/";
        }
    }
    return dir + (solver == "nimba" ? "nimbasolver_cppint.so" : "exhaustive_cppint.so");
}

vexa::SearchOptions search_options(const Settings &s) {
    vexa::SearchOptions o;
    if (s.solver == "nimba") {
        o.time_limit = s.time_limit;
        o.threads = s.threads;
        o.seed = s.seed;
        if (s.target) {
            try {
                o.target_energy = vexa::Int(*s.target);
            } catch (const std::invalid_argument &) {
                throw Failure{kInputError, "--target: '" + *s.target + "' is not an integer energy"};
            }
        }
    }
    o.topk = s.topk;
    return o;
}

Outcome::Solution solution_of(const vexa::Sol &sol, const ProblemEnergy &pe, uint64_t n) {
    return Outcome::Solution{sol.energy(), sol.tts(), file_assignment(pe, n, sol)};
}

std::string solve(const Settings &s) {
    const std::string text = read_file(s.file);
    Format format;
    if (!s.format.empty()) {
        format = *parse_format(s.format);
    } else {
        format = detect_format(text, s.file);
    }
    const Problem problem = read_problem(text, s.file, format, s.instance);
    const vexa::SearchOptions options = search_options(s);

    const ProblemEnergy pe = build_energy(problem);
    const vexa::Model model(pe.energy);
    if (s.solver == "exhaustive" && model.var_count() > kExhaustiveLimit) {
        throw Failure{kInputError, s.file + ": exhaustive search over " + std::to_string(model.var_count()) +
                                       " variables would not end; it takes at most " +
                                       std::to_string(kExhaustiveLimit)};
    }
    const std::string module = module_path(s.solver);
    if (!std::filesystem::exists(module)) throw Failure{1, "solver module " + module + " not found"};

    std::optional<vexa::Result> result;
    {
        const Progress progress(!s.quiet, s.solver == "nimba" ? std::optional<double>(s.time_limit.value_or(10.0))
                                                               : std::nullopt);
        if (s.solver == "nimba") {
            result = vexa::NimbaSolver(model).search(options);
        } else {
            result = vexa::ExhaustiveSolver(model).search(options);
        }
    }

    Outcome o;
    o.file = s.file;
    o.format = format;
    o.variables = problem.n;
    o.entries = problem.entries.size();
    o.index_base = problem.index_base;
    o.solver = s.solver;
    o.best = solution_of(*result, pe, problem.n);
    for (const vexa::Sol &alt : result->topk()) o.topk.push_back(solution_of(alt, pe, problem.n));
    o.info = result->info();
    return s.json ? json_report(o) : text_report(o);
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app{"vexa: solves QUBO and Max-Cut instances with exact integer energies"};
    app.require_subcommand(1);
    Settings s;
    CLI::App *cmd = app.add_subcommand("solve", "Read a problem file, search it, print the best solution");
    cmd->add_option("FILE", s.file, "qbsolv .qubo file, MQLib / Beasley matrix, or G-set edge list")->required();
    cmd->add_option("--format", s.format, "file format; recognised from the file when left out")
        ->check(CLI::IsMember({"qubo", "matrix", "gset"}));
    cmd->add_option("--instance", s.instance, "problem of a Beasley collection file, from 1")
        ->check(CLI::PositiveNumber);
    cmd->add_option("--solver", s.solver, "nimba (heuristic, default) or exhaustive (every assignment)")
        ->check(CLI::IsMember({"nimba", "exhaustive"}));
    cmd->add_option("--time-limit", s.time_limit, "seconds of search (nimba; default 10)")
        ->check(CLI::PositiveNumber);
    cmd->add_option("--threads", s.threads, "search threads (nimba)")->check(CLI::PositiveNumber);
    cmd->add_option("--seed", s.seed, "random seed (nimba)");
    cmd->add_option("--target", s.target, "stop at this energy or below (nimba; energy = -objective)");
    cmd->add_option("--topk", s.topk, "also keep up to this many further solutions")->check(CLI::PositiveNumber);
    cmd->add_flag("--json", s.json, "print one JSON document");
    cmd->add_flag("--quiet", s.quiet, "no progress line on standard error");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        std::cerr << "vexa: " << e.what() << "\n";
        return kInputError;
    }
    try {
        const std::string out = solve(s);
        std::cout << out << std::flush;
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

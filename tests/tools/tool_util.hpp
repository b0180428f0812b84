// Helpers for tests of the vexa tool: random problems, file writers in the
// three formats, and running the program.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "readers/problem.hpp"

namespace vexa::cli::test {

using boost::multiprecision::cpp_int;

// A random problem of the given format over n variables.
inline Problem random_problem(std::mt19937_64 &rng, Format f, uint32_t n, uint32_t entries) {
    Problem p;
    p.format = f;
    p.n = n;
    p.index_base = f == Format::qubo ? 0 : 1;
    for (uint32_t k = 0; k < entries; ++k) {
        const uint32_t i = static_cast<uint32_t>(rng() % n);
        uint32_t j = static_cast<uint32_t>(rng() % n);
        if (f == Format::gset && i == j) j = (i + 1) % n;
        const long long w = rng() % 4 == 0 ? 0 : static_cast<long long>(rng() % 41) - 20;
        p.entries.push_back(Entry{i, j, Int(w)});
    }
    return p;
}

// The problem as the text of its format. `noise` adds comments, blank lines,
// tabs, carriage returns and ".0" weights that the readers must take in stride.
inline std::string write_problem(const Problem &p, bool noise = false, std::mt19937_64 *rng = nullptr) {
    std::ostringstream os;
    const char *eol = noise ? " \r\n" : "\n";
    const char *sep = noise ? " \t " : " ";
    auto maybe_comment = [&] {
        if (!noise || (*rng)() % 4 != 0) return;
        os << (p.format == Format::qubo ? "c a comment" : "# a comment") << eol << eol;
    };
    maybe_comment();
    if (p.format == Format::qubo) {
        uint64_t nodes = 0;
        for (const Entry &e : p.entries) nodes += e.i == e.j;
        os << "p qubo 0 " << p.n << " " << nodes << " " << p.entries.size() - nodes << eol;
    } else {
        os << p.n << sep << p.entries.size() << eol;
    }
    for (const Entry &e : p.entries) {
        maybe_comment();
        os << e.i + p.index_base << sep << e.j + p.index_base << sep << e.w;
        if (noise && (*rng)() % 2) os << ".000";
        os << eol;
    }
    return os.str();
}

inline std::string extension(Format f) {
    return f == Format::qubo ? ".qubo" : f == Format::gset ? ".gset" : ".mat";
}

// f for qbsolv and matrix files, the cut for edge lists, at a 0/1 assignment.
inline cpp_int objective(const Problem &p, const std::vector<int> &x) {
    cpp_int total = 0;
    for (const Entry &e : p.entries) {
        const cpp_int w = e.w.to_cpp_int();
        if (p.format == Format::gset) {
            total += w * (x[e.i] + x[e.j] - 2 * x[e.i] * x[e.j]);
        } else {
            total += w * x[e.i] * x[e.j];
        }
    }
    return total;
}

// Sets VEXA_NUM_THREADS for the life of the guard and puts it back after.
class ThreadsEnv {
public:
    explicit ThreadsEnv(const char *count) {
        if (const char *old = std::getenv("VEXA_NUM_THREADS")) old_ = old;
        setenv("VEXA_NUM_THREADS", count, 1);
    }
    ~ThreadsEnv() {
        if (old_) {
            setenv("VEXA_NUM_THREADS", old_->c_str(), 1);
        } else {
            unsetenv("VEXA_NUM_THREADS");
        }
    }

private:
    std::optional<std::string> old_;
};

// A scratch directory of its own for each test and process (the suite runs
// twice at once, with one and with all threads), removed at the end.
class ScratchDir {
public:
    ScratchDir() {
        const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
        path = ::testing::TempDir() + "vexa_" + info->test_suite_name() + "_" + info->name() + "_" +
               std::to_string(getpid());
        std::system(("rm -rf '" + path + "' && mkdir -p '" + path + "'").c_str());
    }
    ~ScratchDir() { std::system(("rm -rf '" + path + "'").c_str()); }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;
    std::string path;
};

inline void write_file(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream os;
    os << in.rdbuf();
    return os.str();
}

struct Run {
    int status;
    std::string out;
    std::string err;
};

// Runs the tool with the arguments (already quoted for the shell), after
// `env` (variable settings for the shell, may be empty).
inline Run run_tool(const std::string &dir, const std::string &args, const std::string &env = "") {
    const std::string out = dir + "/stdout", err = dir + "/stderr";
    const std::string cmd = env + " " + std::string(VEXA_TOOL_PATH) + " " + args + " >" + out + " 2>" + err;
    const int rc = std::system(cmd.c_str());
    return Run{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, read_file(out), read_file(err)};
}

}  // namespace vexa::cli::test

// Reads generated problem files the way the vexa tool does and builds their
// models; reports the wall time of each phase, the processor time of the
// whole, and the peak memory per case.
//
//   vexa_bench_loading [DIR] [CASE...]
//
// The files are written once to DIR (default /tmp/vexa_loading) and reused
// while their size matches. Each case runs in a child process of its own, so
// that its peak resident memory (VmHWM) covers that case alone.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "allocator_settings.hpp"
#include "common/measure.hpp"
#include "problem_expr.hpp"
#include "readers/readers.hpp"
#include "vexa/vexa.hpp"

namespace {

using namespace vexa::bench;

struct Case {
    const char *name;
    const char *file;
    uint64_t n;        // variables
    uint64_t entries;  // lines of the body
    bool dense;        // every pair i <= j once, as a matrix file
};

const Case kCases[] = {
    {"sparse-3M", "sparse_1M_3M.qubo", 1'000'000, 3'000'000, false},
    {"sparse-10M", "sparse_1M_10M.qubo", 1'000'000, 10'000'000, false},
    {"dense-3000", "dense_3000.mat", 3000, 3000ull * 3001 / 2, true},
};

// Processor time of the process so far (user and system, all threads): less
// sensitive than wall time to other programs sharing the cores.
double cpu_seconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}

// Writes the case's file: a qbsolv file of random couplers (a few repeat)
// with weights in -100..100, or a dense upper triangle in matrix form.
void generate(const Case &c, const std::string &path) {
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::mt19937_64 rng(7);
    std::vector<char> buf(1 << 20);
    std::size_t used = 0;
    auto put_line = [&](uint64_t i, uint64_t j, int64_t w) {
        if (used + 80 > buf.size()) {
            std::fwrite(buf.data(), 1, used, f);
            used = 0;
        }
        char *p = buf.data() + used;
        p = std::to_chars(p, p + 24, i).ptr;
        *p++ = ' ';
        p = std::to_chars(p, p + 24, j).ptr;
        *p++ = ' ';
        p = std::to_chars(p, p + 24, w).ptr;
        *p++ = '\n';
        used = static_cast<std::size_t>(p - buf.data());
    };
    auto weight = [&] {
        const int64_t w = static_cast<int64_t>(rng() % 200) - 100;
        return w >= 0 ? w + 1 : w;
    };
    if (c.dense) {
        std::fprintf(f, "%llu %llu\n", (unsigned long long)c.n, (unsigned long long)c.entries);
        for (uint64_t i = 1; i <= c.n; ++i) {
            for (uint64_t j = i; j <= c.n; ++j) put_line(i, j, weight());
        }
    } else {
        std::fprintf(f, "c %llu random couplers\np qubo 0 %llu 0 %llu\n", (unsigned long long)c.entries,
                     (unsigned long long)c.n, (unsigned long long)c.entries);
        for (uint64_t k = 0; k < c.entries; ++k) {
            const uint64_t i = rng() % c.n;
            uint64_t j = rng() % (c.n - 1);
            if (j >= i) ++j;
            put_line(i, j, weight());
        }
    }
    std::fwrite(buf.data(), 1, used, f);
    std::fclose(f);
}

// Reads and models one file; prints one row.
void run_case(const Case &c, const std::string &path) {
    reset_peak();
    const uint64_t rss0 = status_kib("VmRSS:");
    const double cpu0 = cpu_seconds();
    const auto t0 = std::chrono::steady_clock::now();
    vexa::cli::Input in(path);
    const vexa::cli::Format format = vexa::cli::detect_format(in.head(), path);
    vexa::cli::Problem problem = vexa::cli::read_problem(in, path, format);
    const double read = seconds_since(t0);
    const auto t1 = std::chrono::steady_clock::now();
    vexa::cli::ProblemEnergy pe = vexa::cli::build_energy(std::move(problem));
    const vexa::Model model(pe.energy);
    pe.energy = vexa::Expr();
    const double build = seconds_since(t1);
    const double total = seconds_since(t0);
    const double cpu = cpu_seconds() - cpu0;
    const uint64_t peak = status_kib("VmHWM:");
    const double bytes = (static_cast<double>(peak) - static_cast<double>(rss0)) * 1024.0;
    std::printf("%-11s %9llu %10llu %8.3f %8.3f %8.3f %8.3f %9.1f %9.1f\n", c.name,
                (unsigned long long)model.var_count(), (unsigned long long)(model.term_count(1) + model.term_count(2)),
                read, build, total, cpu,
                peak / 1024.0, bytes / static_cast<double>(c.entries));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
    vexa::cli::keep_big_blocks_mapped();  // as the tool does
    const std::string dir = argc > 1 ? argv[1] : "/tmp/vexa_loading";
    std::filesystem::create_directories(dir);
    std::printf("%-11s %9s %10s %8s %8s %8s %8s %9s %9s\n", "case", "variables", "terms", "read s", "model s",
                "total s", "cpu s", "peak MiB", "B/entry");
    std::fflush(stdout);
    for (const Case &c : kCases) {
        bool wanted = argc <= 2;
        for (int a = 2; a < argc; ++a) wanted = wanted || c.name == std::string(argv[a]);
        if (!wanted) continue;
        const std::string path = dir + "/" + c.file;
        const std::string mark = path + ".done";
        if (!std::filesystem::exists(mark)) {
            generate(c, path);
            std::ofstream(mark) << "ok\n";
        }
        const pid_t pid = fork();
        if (pid == 0) {
            run_case(c, path);
            std::_Exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            std::fprintf(stderr, "%s: the case failed\n", c.name);
            return 1;
        }
    }
    return 0;
}

// Our modules export exactly the functions of their family's symbol list:
// nothing missing (a loader would refuse or lose a capability) and nothing
// else (the version script keeps internals and static libraries inside).
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "solver/modules.hpp"

namespace {

// Dynamic symbols a shared object defines, as nm lists them.
std::set<std::string> defined_symbols(const std::string &path) {
    std::set<std::string> out;
    const std::string command = "nm -D --defined-only " + path;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return out;
    char line[4096];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::string text = line;
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        const size_t space = text.rfind(' ');
        out.insert(space == std::string::npos ? text : text.substr(space + 1));
    }
    if (pclose(pipe) != 0) out.insert("(nm failed)");
    return out;
}

template <class Table>
std::set<std::string> table_symbols() {
    std::set<std::string> out;
    for (const vexa::SymbolRow &row : Table::rows) out.insert(std::string(Table::prefix) + row.name);
    return out;
}

TEST(ModuleExports, EachModuleExportsExactlyItsList) {
    const std::string dir = VEXA_TEST_MODULE_DIR;
    EXPECT_EQ(defined_symbols(dir + "nimbasolver_cppint.so"), table_symbols<vexa::NimbaModuleTable>());
    EXPECT_EQ(defined_symbols(dir + "exhaustive_cppint.so"), table_symbols<vexa::ExhaustiveModuleTable>());
}

// The accelerated module built without a GPU compiler carries the CPU family
// and the device count only; a GPU build carries the whole list but the GPU
// side's quadratic-body and allowed-set constraints, which it does not take.
TEST(ModuleExports, TessixExportsItsCpuRowsOrTheWholeList) {
    const std::set<std::string> defined = defined_symbols(std::string(VEXA_TEST_MODULE_DIR) + "tessix_cppint.so");
    const std::string prefix = vexa::TessixModuleTable::prefix;
    std::set<std::string> cpu;
    for (const vexa::SymbolRow &row : vexa::TessixModuleTable::rows) {
        const std::string name = row.name;
        if (name.rfind("cpu_", 0) == 0 || row.need == vexa::SymbolNeed::mandatory) cpu.insert(prefix + name);
    }
    if (defined.count(prefix + "solver_create") != 0) {
        std::set<std::string> gpu = table_symbols<vexa::TessixModuleTable>();
        gpu.erase(prefix + "add_constraint_nl");
        gpu.erase(prefix + "add_constraint_set");
        EXPECT_EQ(defined, gpu);
    } else {
        EXPECT_EQ(defined, cpu);
    }
}

}  // namespace

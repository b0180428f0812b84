// Finding and opening solver modules: the module directory, mandatory and
// optional symbols of each family, one table per variant word.
#include <unistd.h>

#include <functional>
#include <iterator>
#include <optional>

#include "solver/modules.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

const std::string kMocks = VEXA_MOCKS;

std::string mock_dir(const std::string &variant) { return kMocks + "/" + variant; }

// A binary model: x + 2xy - y.
ModelPtr binary_model() {
    vexa_var_reset();
    const uint32_t x = vexa_new_var("x");
    const uint32_t y = vexa_new_var("y");
    ExprPtr e(vexa_expr_create_var(x));
    add_term(e.get(), 2, x, y);
    add_term(e.get(), -1, y);
    return make_model(e.get());
}

TEST(ModuleDir, FollowsVexaLibDirWithATrailingSlash) {
    {
        EnvScope env("VEXA_LIB_DIR", "/opt/solvers");
        EXPECT_EQ(module_dir(), "/opt/solvers/");
    }
    {
        EnvScope env("VEXA_LIB_DIR", "/opt/solvers/");
        EXPECT_EQ(module_dir(), "/opt/solvers/");
    }
    {
        EnvScope env("VEXA_LIB_DIR", "relative");
        EXPECT_EQ(module_dir(), "relative/");
    }
}

TEST(ModuleDir, EmptyOrUnsetMeansTheDirectoryOfTheCode) {
    std::string unset;
    {
        EnvScope env("VEXA_LIB_DIR", nullptr);
        unset = module_dir();
    }
    // linked statically, the code lives in this test program
    ASSERT_FALSE(unset.empty());
    EXPECT_EQ(unset.back(), '/');
    EXPECT_EQ(access((unset + "test_solver").c_str(), X_OK), 0) << unset;
    EnvScope env("VEXA_LIB_DIR", "");
    EXPECT_EQ(module_dir(), unset);
    EXPECT_EQ(library_dir(), unset);
}

TEST(ModuleDir, TheExhaustiveDirectoryIgnoresVexaLibDir) {
    const std::string own = library_dir();
    EnvScope env("VEXA_LIB_DIR", "/elsewhere");
    EXPECT_EQ(library_dir(), own);
}

TEST(NimbaLoading, AMissingFileNamesThePathAndTheLoaderText) {
    const std::string dir = mock_dir("nowhere");
    EnvScope env("VEXA_LIB_DIR", dir.c_str());
    const std::string path = dir + "/nimbasolver_cppint.so";
    ModelPtr m = binary_model();
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(m.get()),
                 fatal_text("NimbaSolver: failed to load " + path + ": " + dlopen_failure(path)));
    // the same file name through a directory given with its slash
    EnvScope slash("VEXA_LIB_DIR", (dir + "/").c_str());
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(m.get()),
                 fatal_text("NimbaSolver: failed to load " + path + ": " + dlopen_failure(path)));
}

// The rows of a family's list as "name:need" words, to compare with the
// module contract written out below.
template <class Table>
std::vector<std::string> row_words() {
    static const char *const need_names[] = {"mandatory", "optional", "gpu_entry", "gpu", "int_entry", "int_part"};
    std::vector<std::string> out;
    for (const SymbolRow &row : Table::rows) {
        out.push_back(std::string(row.name) + ":" + need_names[static_cast<int>(row.need)]);
    }
    return out;
}

TEST(ModuleSymbols, EachFamilyListsItsContractInLookupOrder) {
    const std::vector<std::string> shared = {
        "destroy:mandatory",         "sol_list_count:mandatory", "sol_list_get:mandatory",
        "sol_list_destroy:mandatory", "register_callback:mandatory", "get_info:optional",
        "free_info:optional",         "add_constraint:optional",   "add_constraint_nl:optional",
        "add_constraint_set:optional", "set_cons_shape:optional",   "set_remainder:optional"};
    std::vector<std::string> nimba = {"create:mandatory", "search:mandatory"};
    nimba.insert(nimba.end(), shared.begin(), shared.end());
    std::vector<std::string> exhaustive = nimba;
    nimba.insert(nimba.end(), {"create_int:optional", "search_int:optional", "set_external_stop:optional"});
    exhaustive.push_back("set_external_stop:optional");
    EXPECT_EQ(row_words<NimbaModuleTable>(), nimba);
    EXPECT_EQ(row_words<ExhaustiveModuleTable>(), exhaustive);
    const std::vector<std::string> tessix = {
        "gpu_device_count:mandatory", "cpu_solver_create:mandatory", "cpu_solver_create_int:optional",
        "cpu_solver_search_int:optional", "cpu_register_callback_iv:optional", "cpu_hint_iv:optional",
        "cpu_add_constraint:optional", "cpu_add_constraint_nl:optional", "cpu_add_constraint_set:optional",
        "add_constraint_set:optional", "add_constraint:optional", "add_constraint_nl:optional",
        "cpu_set_cons_shape:optional", "set_cons_shape:optional", "cpu_set_remainder:optional",
        "set_remainder:optional", "cpu_solver_destroy:mandatory", "cpu_solver_search:mandatory",
        "cpu_register_callback:mandatory", "cpu_sol_list_count:mandatory", "cpu_sol_list_get:mandatory",
        "cpu_sol_list_destroy:mandatory", "cpu_hint_solution:optional", "cpu_solver_set_external_stop:optional",
        "solver_create:gpu_entry", "init:gpu", "solver_destroy:gpu", "solver_search:gpu", "register_callback:gpu",
        "sol_list_count:gpu", "sol_list_get:gpu", "sol_list_destroy:gpu", "hint_solution:gpu",
        "solver_set_external_stop:gpu", "int_create:int_entry", "int_add_cons:int_part", "int_round2:int_part",
        "int_hint:int_part", "int_set_cons_shape:optional", "int_destroy:int_part"};
    EXPECT_EQ(row_words<TessixModuleTable>(), tessix);
}

// One character per slot of a loaded table, in list order: 1 filled, 0 empty.
template <class Table>
std::string slot_pattern(const Table &t) {
    std::string s;
    t.each_slot([&](const SymbolRow &, const auto &slot) { s += slot != nullptr ? '1' : '0'; });
    return s;
}

// What a module that lacks only row `missing` leaves empty: that row; all of
// the GPU family without its entry; the integer engine's entry without one
// of its parts.
template <class Table>
std::string pattern_without(size_t missing) {
    const SymbolNeed gone = Table::rows[missing].need;
    std::string s;
    for (size_t i = 0; i < std::size(Table::rows); ++i) {
        const SymbolNeed need = Table::rows[i].need;
        const bool empty = i == missing || (gone == SymbolNeed::gpu_entry && need == SymbolNeed::gpu) ||
                           (gone == SymbolNeed::int_part && need == SymbolNeed::int_entry);
        s += empty ? '0' : '1';
    }
    return s;
}

// For every row of the family: a module without it either fails to load
// with the family's message (mandatory rows) or loads with the slots above
// left empty. `load` opens the module of the variant directory it is given.
template <class Table>
void check_each_missing_symbol(const std::string &family, const std::function<void(const std::string &)> &load,
                               const std::function<const Table &()> &table) {
    for (size_t i = 0; i < std::size(Table::rows); ++i) {
        const SymbolRow row = Table::rows[i];
        const std::string dir = mock_dir(family + "_no_" + row.name);
        if (row.need == SymbolNeed::mandatory) {
            EXPECT_DEATH(load(dir), fatal_text(std::string(Table::tag) + ": symbol not found: " + Table::prefix +
                                               row.name))
                << row.name;
            continue;
        }
        const std::string want = pattern_without<Table>(i);
        EXPECT_IN_CHILD([&]() -> std::string {
            load(dir);
            const std::string got = slot_pattern(table());
            return got == want ? "" : "slots " + got + ", expected " + want;
        }) << row.name;
    }
}

TEST(NimbaLoading, EachSymbolIsMandatoryOrLeavesItsSlotEmpty) {
    ModelPtr m = binary_model();
    std::optional<EnvScope> env;
    check_each_missing_symbol<NimbaModuleTable>(
        "nimba",
        [&](const std::string &dir) {
            env.emplace("VEXA_LIB_DIR", dir.c_str());
            // through the exported interface: creating a wrapper loads the module
            vexa_nimba_solver_wrapper_destroy(vexa_nimba_solver_wrapper_create(m.get()));
        },
        []() -> const NimbaModuleTable & { return nimba_module(nullptr); });
    EnvScope full("VEXA_LIB_DIR", mock_dir("nimba_full").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        const std::string got = slot_pattern(nimba_module(nullptr));
        return got == std::string(std::size(NimbaModuleTable::rows), '1') ? "" : "slots " + got;
    });
}

TEST(NimbaLoading, OneTablePerWordAndOneRegistrationPerWord) {
    EnvScope env("VEXA_LIB_DIR", mock_dir("nimba_full").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        NimbaModuleTable &a = nimba_module("cppint");
        NimbaModuleTable &b = nimba_module(nullptr);
        if (&a != &b || a.handle != b.handle) return "a second lookup gave another table";
        ModelPtr m = binary_model();
        NimbaPtr w1(vexa_nimba_solver_wrapper_create(m.get()));
        NimbaPtr w2(vexa_nimba_solver_wrapper_create(m.get()));
        mock::Record &rec = mock_at(mock_dir("nimba_full") + "/nimbasolver_cppint.so");
        if (rec.callbacks.size() != 1) return "registered " + std::to_string(rec.callbacks.size()) + " times";
        const uint64_t bits = 3;
        const double answer = rec.callbacks[0](nullptr, nullptr, &bits, 1, 0.5);
        if (answer != -1.0) return "the registered callback answered " + std::to_string(answer);
        return "";
    });
}

// The accelerated loader: mandatory, optional and conditional symbols.
TEST(TessixLoading, AFullModuleFillsEverySlot) {
    EnvScope env("VEXA_LIB_DIR", mock_dir("tessix_full").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        const TessixModuleTable &t = tessix_module();
        const void *const *slots = reinterpret_cast<const void *const *>(&t);
        static_assert(sizeof(TessixModuleTable) == 41 * sizeof(void *));
        for (int i = 0; i < 41; ++i) {
            if (slots[i] == nullptr) return "slot " + std::to_string(i) + " is empty";
        }
        return &tessix_module() == &t ? "" : "a second lookup gave another table";
    });
}

TEST(TessixLoading, EachSymbolIsMandatoryOrLeavesItsSlotEmpty) {
    std::optional<EnvScope> env;
    check_each_missing_symbol<TessixModuleTable>(
        "tessix",
        [&](const std::string &dir) {
            env.emplace("VEXA_LIB_DIR", dir.c_str());
            tessix_module();
        },
        []() -> const TessixModuleTable & { return tessix_module(); });
}

TEST(TessixLoading, AMissingFileNamesThePath) {
    const std::string path = mock_dir("nowhere") + "/tessix_cppint.so";
    EnvScope env("VEXA_LIB_DIR", mock_dir("nowhere").c_str());
    EXPECT_DEATH(tessix_module(),
                 fatal_text("TessixSolver: failed to load " + path + ": " + dlopen_failure(path)));
}

TEST(TessixLoading, RegistrationsHappenOncePerProcess) {
    EnvScope env("VEXA_LIB_DIR", mock_dir("tessix_full").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        // the stubs record nothing; the flags must stop a second call, and a
        // module without the function is skipped
        TessixModuleTable t = tessix_module();
        static int calls = 0;
        t.cpu_register_callback = [](vexa_module_callback) { ++calls; };
        t.register_callback = nullptr;
        register_tessix_gpu_callback_once(t, &ignore_progress);
        register_tessix_cpu_callback_once(t, &ignore_progress);
        register_tessix_cpu_callback_once(t, &ignore_progress);
        return calls == 1 ? "" : "cpu registration ran " + std::to_string(calls) + " times";
    });
}

}  // namespace

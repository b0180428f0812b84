// Finding and opening solver modules: the module directory, mandatory and
// optional symbols of each family, one table per variant word.
#include <unistd.h>

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

TEST(NimbaLoading, EveryMandatorySymbolIsRequired) {
    ModelPtr m = binary_model();
    for (const char *fn : {"create", "destroy", "search", "sol_list_count", "sol_list_get", "sol_list_destroy",
                           "register_callback"}) {
        EnvScope env("VEXA_LIB_DIR", mock_dir(std::string("nimba_no_") + fn).c_str());
        EXPECT_DEATH(vexa_nimba_solver_wrapper_create(m.get()),
                     fatal_text(std::string("NimbaSolver: symbol not found: vexa_nimba_solver_") + fn));
    }
}

// Which optional slots a module of each variant leaves empty.
std::string optional_slots(const NimbaModuleTable &t) {
    std::string s;
    s += t.get_info ? "I" : "-";
    s += t.free_info ? "F" : "-";
    s += t.add_constraint ? "C" : "-";
    s += t.add_constraint_nl ? "N" : "-";
    s += t.add_constraint_set ? "S" : "-";
    s += t.set_cons_shape ? "H" : "-";
    s += t.set_remainder ? "R" : "-";
    s += t.create_int ? "c" : "-";
    s += t.search_int ? "s" : "-";
    return s;
}

TEST(NimbaLoading, OptionalSymbolsMayBeMissing) {
    const std::pair<const char *, const char *> cases[] = {
        {"nimba_full", "IFCNSHRcs"},          {"nimba_no_info", "--CNSHRcs"},
        {"nimba_no_add_constraint", "IF-NSHRcs"}, {"nimba_no_add_constraint_nl", "IFC-SHRcs"},
        {"nimba_no_add_constraint_set", "IFCN-HRcs"}, {"nimba_no_set_cons_shape", "IFCNS-Rcs"},
        {"nimba_no_set_remainder", "IFCNSH-cs"}, {"nimba_no_create_int", "IFCNSHR-s"},
        {"nimba_no_search_int", "IFCNSHRc-"},
    };
    for (const auto &[variant, expected] : cases) {
        EnvScope env("VEXA_LIB_DIR", mock_dir(variant).c_str());
        const std::string want = expected;
        EXPECT_IN_CHILD([&]() -> std::string {
            const NimbaModuleTable &t = nimba_module(nullptr);
            if (t.create == nullptr || t.destroy == nullptr || t.search == nullptr || t.sol_list_count == nullptr ||
                t.sol_list_get == nullptr || t.sol_list_destroy == nullptr || t.register_callback == nullptr) {
                return "a mandatory slot is empty";
            }
            const std::string got = optional_slots(t);
            return got == want ? "" : "optional slots " + got + ", expected " + want;
        }) << variant;
    }
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

TEST(TessixLoading, WithoutSolverCreateTheGpuFamilyStaysEmpty) {
    EnvScope env("VEXA_LIB_DIR", mock_dir("tessix_cpu_only").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        const TessixModuleTable &t = tessix_module();
        if (t.solver_create || t.init || t.solver_destroy || t.solver_search || t.register_callback ||
            t.sol_list_count || t.sol_list_get || t.sol_list_destroy || t.hint_solution ||
            t.solver_set_external_stop) {
            return "a GPU slot is filled";
        }
        if (!t.cpu_solver_create || !t.cpu_solver_search || !t.add_constraint || !t.set_remainder || !t.int_create) {
            return "a CPU or constraint slot is empty";
        }
        return "";
    });
}

TEST(TessixLoading, AnIncompleteIntegerEngineIsAbsent) {
    EnvScope env("VEXA_LIB_DIR", mock_dir("tessix_no_int_hint").c_str());
    EXPECT_IN_CHILD([]() -> std::string {
        const TessixModuleTable &t = tessix_module();
        if (t.int_create != nullptr) return "int_create kept without int_hint";
        if (!t.int_add_cons || !t.int_round2 || !t.int_destroy || !t.int_set_cons_shape) return "slot lost";
        return "";
    });
}

TEST(TessixLoading, MandatorySymbolsAndMissingFile) {
    for (const char *fn : {"gpu_device_count", "cpu_solver_create", "cpu_solver_destroy", "cpu_solver_search",
                           "cpu_register_callback", "cpu_sol_list_count", "cpu_sol_list_get",
                           "cpu_sol_list_destroy"}) {
        EnvScope env("VEXA_LIB_DIR", mock_dir(std::string("tessix_no_") + fn).c_str());
        EXPECT_DEATH(tessix_module(), fatal_text(std::string("TessixSolver: symbol not found: vexa_tessix_") + fn));
    }
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

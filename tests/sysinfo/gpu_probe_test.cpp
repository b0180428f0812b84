#include <dlfcn.h>
#include <gtest/gtest.h>

#include "sysinfo/probes.hpp"

using namespace vexa;

namespace {

using SceneFn = void (*)(int, int, unsigned, const char *const *, const int *);
using ShutdownCalls = int (*)();

// Holds the stand-in library open, so that the probe's own dlopen finds the
// same copy and the scripted scene survives the probe's dlclose.
class FakeNvml : public ::testing::Test {
protected:
    void SetUp() override {
        handle_ = dlopen(VEXA_FAKE_NVML, RTLD_NOW);
        ASSERT_NE(handle_, nullptr) << dlerror();
        setup_ = reinterpret_cast<SceneFn>(dlsym(handle_, "fake_nvml_setup"));
        shutdown_calls_ = reinterpret_cast<ShutdownCalls>(dlsym(handle_, "fake_nvml_shutdown_calls"));
        ASSERT_NE(setup_, nullptr);
        ASSERT_NE(shutdown_calls_, nullptr);
    }
    void TearDown() override {
        if (handle_ != nullptr) dlclose(handle_);
    }
    std::string probe() { return gpu_text_from({"libvexa-no-such-library.so.1", VEXA_FAKE_NVML}); }

    void *handle_ = nullptr;
    SceneFn setup_ = nullptr;
    ShutdownCalls shutdown_calls_ = nullptr;
};

TEST_F(FakeNvml, DevicesAreCountedByNameInNameOrder) {
    const char *names[] = {"NVIDIA H100", "NVIDIA A100", "NVIDIA H100", nullptr, "NVIDIA L4"};
    const int handle_fail[] = {0, 0, 0, 0, 1};
    setup_(0, 0, 5, names, handle_fail);
    // Device 3 has no name and device 4 no handle: both are skipped.
    EXPECT_EQ(probe(), "NVIDIA A100 x1, NVIDIA H100 x2");
    EXPECT_EQ(shutdown_calls_(), 1);
}

TEST_F(FakeNvml, NoUsableDeviceIsNone) {
    setup_(0, 0, 0, nullptr, nullptr);
    EXPECT_EQ(probe(), "(none)");
    EXPECT_EQ(shutdown_calls_(), 1);
    const char *names[] = {"NVIDIA H100"};
    setup_(0, 3, 1, names, nullptr);  // the count call fails
    EXPECT_EQ(probe(), "(none)");
}

TEST_F(FakeNvml, FailedInitialisationIsNoneWithoutShutdown) {
    const char *names[] = {"NVIDIA H100"};
    setup_(9, 0, 1, names, nullptr);
    EXPECT_EQ(probe(), "(none)");
    EXPECT_EQ(shutdown_calls_(), 0);
}

TEST(GpuText, LibraryWithoutTheEntryPointsIsNone) {
    EXPECT_EQ(gpu_text_from({"libm.so.6"}), "(none)");
    EXPECT_EQ(gpu_text_from({}), "(none)");
}

TEST(GpuText, WithoutTheNvidiaLibraryItIsNoneAndSilent) {
    for (const char *lib : {"libnvidia-ml.so.1", "libnvidia-ml.so"}) {
        if (void *h = dlopen(lib, RTLD_LAZY)) {
            dlclose(h);
            GTEST_SKIP() << "this machine has " << lib;
        }
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const std::string text = gpu_text();
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, "(none)");
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "");
}

}  // namespace

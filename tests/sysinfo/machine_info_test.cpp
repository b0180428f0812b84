#include <sys/utsname.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>

#include "sysinfo/probes.hpp"
#include "vexa/sysinfo.h"

using namespace vexa;

namespace {

TEST(RamText, GibWithThreeDecimals) {
    EXPECT_EQ(gib_text(0), "(unknown)");
    EXPECT_EQ(gib_text(1), "0.000 GiB");
    EXPECT_EQ(gib_text(3ull << 29), "1.500 GiB");
    EXPECT_EQ(gib_text(1ull << 40), "1024.000 GiB");
    EXPECT_EQ(gib_text((1ull << 30) + (1ull << 30) / 1000 * 999), "1.999 GiB");
}

TEST(RamText, LiveValueMatchesThePhysicalPages) {
    const std::string text = ram_text();
    ASSERT_TRUE(std::regex_match(text, std::regex(R"([0-9]+\.[0-9]{3} GiB)"))) << text;
    const double gib = std::stod(text);
    const double pages = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE) / (1 << 30);
    EXPECT_NEAR(gib, pages, pages * 0.01 + 0.001);
}

TEST(HostName, IsTheKernelNodeName) {
    utsname u{};
    ASSERT_EQ(uname(&u), 0);
    EXPECT_FALSE(host_name().empty());
    EXPECT_EQ(host_name(), u.nodename);
}

TEST(MachineInfo, AppendsOsCpuGpuRamAfterWhatIsThere) {
    std::vector<std::pair<std::string, std::string>> info = {{"run_time", "1.5"}};
    add_machine_info(info);
    ASSERT_EQ(info.size(), 5u);
    EXPECT_EQ(info[0], (std::pair<std::string, std::string>{"run_time", "1.5"}));
    EXPECT_EQ(info[1].first, "os");
    EXPECT_EQ(info[2].first, "cpu");
    EXPECT_EQ(info[3].first, "gpu");
    EXPECT_EQ(info[4].first, "ram");
    EXPECT_EQ(info[1].second, os_text());
    EXPECT_EQ(info[2].second.rfind(cpu_name() + "  (max ", 0), 0u) << info[2].second;
    EXPECT_EQ(info[3].second, gpu_text());
    EXPECT_EQ(info[4].second, ram_text());
    // Later results carry the same four pairs.
    std::vector<std::pair<std::string, std::string>> again;
    add_machine_info(again);
    EXPECT_EQ(again, decltype(again)(info.begin() + 1, info.end()));
}

TEST(BuildDate, OneDigitDaysLoseThePaddingBlank) {
    EXPECT_EQ(build_date_from("Aug  6 2026"), "Aug 6 2026");
    EXPECT_EQ(build_date_from("Aug 16 2026"), "Aug 16 2026");
}

TEST(ConstStr, EveryKeyAnswers) {
    EXPECT_TRUE(std::regex_match(std::string(vexa_const_str("compilation_date")),
                                 std::regex("(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [1-9][0-9]? 2[0-9]{3}")))
        << vexa_const_str("compilation_date");
    EXPECT_STREQ(vexa_const_str("version"), VEXA_VERSION_TEXT);
    EXPECT_TRUE(std::regex_match(std::string(vexa_const_str("version")), std::regex(R"([0-9]{4}\.[0-9]{2}\.[0-9]{2})")));
    EXPECT_EQ(vexa_const_str("cpu_name"), cpu_name());
    EXPECT_EQ(vexa_const_str("cpu_threads"), std::to_string(sysconf(_SC_NPROCESSORS_ONLN)));
    EXPECT_EQ(vexa_const_str("total_ram"), ram_text());
    EXPECT_EQ(vexa_const_str("hostname"), host_name());
}

TEST(ConstStr, NullAndUnknownKeysAreInvalid) {
    for (const char *key : {static_cast<const char *>(nullptr), "", "Version", "version ", "cpu", "os", "gpu"}) {
        EXPECT_STREQ(vexa_const_str(key), "Invalid string parameter") << (key ? key : "(null)");
    }
}

TEST(ConstStr, EachThreadHasItsOwnAnswer) {
    const char *mine = vexa_const_str("version");
    const char *theirs = nullptr;
    std::string theirs_seen;
    std::thread other([&] {
        theirs = vexa_const_str("no such key");
        theirs_seen = theirs;
    });
    other.join();
    EXPECT_NE(mine, theirs);
    EXPECT_STREQ(mine, VEXA_VERSION_TEXT);
    EXPECT_EQ(theirs_seen, "Invalid string parameter");
}

}  // namespace

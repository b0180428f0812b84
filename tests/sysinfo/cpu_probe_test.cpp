#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "sysinfo/probes.hpp"

using namespace vexa;

namespace {

const std::string kFixtures = VEXA_SYSINFO_FIXTURES;

// Only the given fixtures; lscpu off, everything else pointing nowhere.
CpuSources fixture(const std::string &cpuinfo, const std::string &cpu_dir = "none",
                   const std::string &devicetree = "none") {
    CpuSources s;
    s.cpuinfo = kFixtures + "/" + cpuinfo;
    s.cpu_dir = kFixtures + "/" + cpu_dir;
    s.devicetree_model = kFixtures + "/" + devicetree;
    s.use_lscpu = false;
    return s;
}

TEST(CpuName, ModelNameLineIsCutBeforeTheClock) {
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_x86")), "Intel(R) Xeon(R) CPU E5-2630 v3");
}

TEST(CpuName, ArmIdFieldsAloneAreLookedUpInTheTable) {
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_arm_neoverse_n1")), "ARM Neoverse-N1");
}

TEST(CpuName, ProcessorLineWinsOverTheTableEvenAfterTheIdFields) {
    // 0x41/0xd03 would be "ARM Cortex-A53"; the name line is taken as it comes.
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_processor_line")), "ARMv7 Processor rev 4 (v7l)");
}

TEST(CpuName, FallsBackToTheDeviceTreeThenToUnknown) {
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_bad_implementer", "none", "devicetree_model")),
              "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_unlisted_part", "none", "devicetree_model")),
              "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(cpu_name_from(fixture("no_such_cpuinfo", "none", "devicetree_model")),
              "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(cpu_name_from(fixture("cpuinfo_unlisted_part", "none", "devicetree_model_empty")), "(unknown CPU)");
    EXPECT_EQ(cpu_name_from(fixture("no_such_cpuinfo")), "(unknown CPU)");
}

TEST(ArmPartTable, HasEveryListedCoreExactlyOnce) {
    const std::vector<ArmPart> expected = {
        {0x41, 0xD03, "ARM Cortex-A53"},     {0x41, 0xD04, "ARM Cortex-A35"},    {0x41, 0xD05, "ARM Cortex-A55"},
        {0x41, 0xD07, "ARM Cortex-A57"},     {0x41, 0xD08, "ARM Cortex-A72"},    {0x41, 0xD09, "ARM Cortex-A73"},
        {0x41, 0xD0A, "ARM Cortex-A75"},     {0x41, 0xD0B, "ARM Cortex-A76"},    {0x41, 0xD0C, "ARM Neoverse-N1"},
        {0x41, 0xD0D, "ARM Cortex-A77"},     {0x41, 0xD40, "ARM Neoverse-V1"},   {0x41, 0xD41, "ARM Cortex-A78"},
        {0x41, 0xD42, "ARM Cortex-A78AE"},   {0x41, 0xD44, "ARM Cortex-X1"},     {0x41, 0xD46, "ARM Cortex-A510"},
        {0x41, 0xD47, "ARM Cortex-A710"},    {0x41, 0xD48, "ARM Cortex-X2"},     {0x41, 0xD49, "ARM Neoverse-N2"},
        {0x41, 0xD4A, "ARM Neoverse-E1"},    {0x41, 0xD4B, "ARM Cortex-A78C"},   {0x41, 0xD4C, "ARM Cortex-X1C"},
        {0x41, 0xD4D, "ARM Cortex-A715"},    {0x41, 0xD4E, "ARM Cortex-X3"},     {0x41, 0xD4F, "ARM Neoverse-V2"},
        {0x41, 0xD80, "ARM Cortex-A520"},    {0x41, 0xD81, "ARM Cortex-A720"},   {0x41, 0xD82, "ARM Cortex-X4"},
        {0x41, 0xD84, "ARM Neoverse-V3"},    {0x41, 0xD85, "ARM Cortex-X925"},   {0x41, 0xD87, "ARM Cortex-A725"},
        {0x51, 0x800, "Qualcomm Kryo 260"},  {0x51, 0x801, "Qualcomm Kryo 280"}, {0x51, 0x802, "Qualcomm Kryo 385"},
        {0x51, 0x803, "Qualcomm Kryo 485"},  {0x51, 0x804, "Qualcomm Kryo 585"}, {0x51, 0x805, "Qualcomm Kryo 680"},
        {0x61, 0x022, "Apple Icestorm-M1"},  {0x61, 0x023, "Apple Firestorm-M1"}, {0x61, 0x028, "Apple Blizzard-M2"},
        {0x61, 0x029, "Apple Avalanche-M2"}, {0x61, 0x030, "Apple Sawtooth-M3"}, {0x61, 0x031, "Apple Everest-M3"},
        {0xC0, 0xAC3, "Ampere Altra"},       {0xC0, 0xAC4, "Ampere Altra Max"},
    };
    EXPECT_EQ(arm_part_table().size(), 44u);
    std::set<std::pair<uint32_t, uint32_t>> keys;
    for (const ArmPart &row : arm_part_table()) keys.emplace(row.implementer, row.part);
    EXPECT_EQ(keys.size(), arm_part_table().size());
    for (const ArmPart &row : expected) {
        const char *name = arm_part_name(row.implementer, row.part);
        ASSERT_NE(name, nullptr) << std::hex << row.implementer << "/" << row.part;
        EXPECT_STREQ(name, row.name);
    }
    // The implementer is part of the key.
    EXPECT_EQ(arm_part_name(0x51, 0xD0C), nullptr);
    EXPECT_EQ(arm_part_name(0x41, 0xD06), nullptr);
    EXPECT_EQ(arm_part_name(0x41, 0x800), nullptr);
}

TEST(CpuFrequency, CpufreqMaximumComesFirstThenTheScalingMaximum) {
    EXPECT_DOUBLE_EQ(max_frequency_ghz(fixture("cpuinfo_x86", "sys_cpu")).value(), 2.4);
    EXPECT_DOUBLE_EQ(max_frequency_ghz(fixture("cpuinfo_x86", "sys_cpu_scaling")).value(), 3.1);
}

TEST(CpuFrequency, WithoutCpufreqTheGreatestCpuMhzCounts) {
    EXPECT_DOUBLE_EQ(max_frequency_ghz(fixture("cpuinfo_x86")).value(), 3.5);
    EXPECT_FALSE(max_frequency_ghz(fixture("cpuinfo_core_blocks")).has_value());  // "cpu MHz : fast"
    EXPECT_FALSE(max_frequency_ghz(fixture("no_such_cpuinfo")).has_value());
}

TEST(CpuCores, SysfsTopologyCountsDistinctPackageCorePairsOfOnlineProcessors) {
    EXPECT_EQ(physical_cores(fixture("cpuinfo_x86", "sys_cpu"), 4), 3u);
    EXPECT_EQ(physical_cores(fixture("cpuinfo_x86", "sys_cpu"), 2), 1u);  // two threads of one core
}

TEST(CpuCores, CpuinfoBlocksAreTheFallback) {
    // sysfs gives nothing: no directory, no processors online, or an id that does not parse.
    EXPECT_EQ(physical_cores(fixture("cpuinfo_x86"), 8), 4u);
    EXPECT_EQ(physical_cores(fixture("cpuinfo_x86", "sys_cpu"), 0), 4u);
    EXPECT_EQ(physical_cores(fixture("cpuinfo_x86", "sys_cpu_scaling"), 1), 4u);
    // Ids reset at each block end; the last block counts without a blank line after it.
    EXPECT_EQ(physical_cores(fixture("cpuinfo_core_blocks"), 0), 2u);
    EXPECT_FALSE(physical_cores(fixture("cpuinfo_arm_neoverse_n1"), 2).has_value());
    EXPECT_FALSE(physical_cores(fixture("no_such_cpuinfo"), 2).has_value());
}

TEST(CpuText, NameTwoBlanksThenClockCoresAndThreads) {
    EXPECT_EQ(cpu_text_from(fixture("cpuinfo_x86", "sys_cpu"), 4),
              "Intel(R) Xeon(R) CPU E5-2630 v3  (max 2.40 GHz, 3 cores, 4 threads)");
    EXPECT_EQ(cpu_text_from(fixture("cpuinfo_x86"), 16),
              "Intel(R) Xeon(R) CPU E5-2630 v3  (max 3.50 GHz, 4 cores, 16 threads)");
    EXPECT_EQ(cpu_text_from(fixture("cpuinfo_arm_neoverse_n1"), 2),
              "ARM Neoverse-N1  (max (unknown) GHz, (unknown) cores, 2 threads)");
    EXPECT_EQ(cpu_text_from(fixture("no_such_cpuinfo"), 0), "(unknown CPU)  (max (unknown) GHz, (unknown) cores)");
    EXPECT_EQ(cpu_text_from(fixture("no_such_cpuinfo"), -1), "(unknown CPU)  (max (unknown) GHz, (unknown) cores)");
}

TEST(CpuText, LiveMachineHasTheSameShape) {
    const std::string name = cpu_name();
    EXPECT_FALSE(name.empty());
    const std::string text = cpu_text();
    EXPECT_EQ(text.rfind(name + "  (max ", 0), 0u) << text;
    EXPECT_EQ(text.back(), ')');
    EXPECT_NE(text.find(" threads)"), std::string::npos) << text;
}

}  // namespace

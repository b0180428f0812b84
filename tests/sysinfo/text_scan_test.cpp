#include <gtest/gtest.h>

#include "sysinfo/text_scan.hpp"

using namespace vexa::detail;

namespace {

TEST(TextScan, TrimAndLineValue) {
    EXPECT_EQ(trim(" \t model name \r\n"), "model name");
    EXPECT_EQ(trim(" \t\r\n"), "");
    EXPECT_EQ(trim("x"), "x");
    EXPECT_EQ(line_value("model name\t: Xeon: v3 \r"), "Xeon: v3");  // split at the first colon only
    EXPECT_EQ(line_value("core id\t:"), "");
    EXPECT_FALSE(line_value("no colon here").has_value());
}

TEST(TextScan, UnsignedNumbersTakeTheirBaseFromThePrefix) {
    EXPECT_EQ(parse_unsigned_auto("0x41"), 0x41u);
    EXPECT_EQ(parse_unsigned_auto("0xD0C"), 0xD0Cu);
    EXPECT_EQ(parse_unsigned_auto("017"), 15u);
    EXPECT_EQ(parse_unsigned_auto("65"), 65u);
    EXPECT_EQ(parse_unsigned_auto("0"), 0u);
    for (const char *bad : {"", "banana", "-1", "+1", " 1", "0x", "12abc", "0x1ffffffffffffffff", "09"}) {
        EXPECT_FALSE(parse_unsigned_auto(bad).has_value()) << bad;
    }
}

TEST(TextScan, DecimalAndRealNumbersMustUseTheWholeText) {
    EXPECT_EQ(parse_integer("2400000"), 2400000);
    EXPECT_EQ(parse_integer("-1"), -1);
    for (const char *bad : {"", "n/a", "12 kHz", "0x10", "99999999999999999999"}) {
        EXPECT_FALSE(parse_integer(bad).has_value()) << bad;
    }
    EXPECT_DOUBLE_EQ(parse_real("2096.030").value(), 2096.03);
    EXPECT_DOUBLE_EQ(parse_real("3500").value(), 3500.0);
    for (const char *bad : {"", "fast", "inf", "nan", "1.5 MHz", "2,5"}) {
        EXPECT_FALSE(parse_real(bad).has_value()) << bad;
    }
}

TEST(TextScan, FixedTextRoundsToTheGivenDecimals) {
    EXPECT_EQ(fixed_text(2.4, 2), "2.40");
    EXPECT_EQ(fixed_text(3.999, 2), "4.00");
    EXPECT_EQ(fixed_text(0.0, 3), "0.000");
    EXPECT_EQ(fixed_text(1024.0, 3), "1024.000");
}

TEST(TextScan, FilesAndCommandsGiveTheirFirstLine) {
    EXPECT_EQ(read_first_line(VEXA_SYSINFO_FIXTURES "/os_release_name_version"), "NAME=\"Fedora Linux\"");
    EXPECT_FALSE(read_first_line(VEXA_SYSINFO_FIXTURES "/no_such_file").has_value());
    EXPECT_EQ(command_first_line("printf 'Model name: X\\nsecond line\\n'"), "Model name: X\n");
    EXPECT_FALSE(command_first_line("exit 3").has_value());
    // A longer line is cut to what fits the 256-byte buffer.
    const std::optional<std::string> longline = command_first_line("head -c 1000 /dev/zero | tr '\\0' a");
    ASSERT_TRUE(longline.has_value());
    EXPECT_EQ(*longline, std::string(255, 'a'));
}

}  // namespace

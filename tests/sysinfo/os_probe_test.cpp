#include <gtest/gtest.h>

#include "sysinfo/probes.hpp"

using namespace vexa;

namespace {

std::string os_of(const char *fixture) { return os_text_from(std::string(VEXA_SYSINFO_FIXTURES "/") + fixture); }

TEST(OsText, PrettyNameWins) {
    EXPECT_EQ(os_of("os_release_pretty"), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(os_of("os_release_single_quotes"), "Alpine Linux v3.19");
}

TEST(OsText, NameAndVersionAreJoinedByABlank) {
    EXPECT_EQ(os_of("os_release_name_version"), "Fedora Linux 39 (Server Edition)");
    EXPECT_EQ(os_of("os_release_name_only"), "Gentoo");  // empty VERSION adds nothing
    EXPECT_EQ(os_of("os_release_version_only"), "Linux 7");
}

TEST(OsText, AnUnclosedQuoteStaysInTheValue) {
    EXPECT_EQ(os_of("os_release_unclosed_quote"), "\"Broken Linux 1.0");
}

TEST(OsText, CommentsBlankKeysAndLaterDuplicates) {
    // A commented PRETTY_NAME is skipped, an empty one falls through to NAME,
    // blanks around "=" and a carriage return are trimmed, the last VERSION counts.
    EXPECT_EQ(os_of("os_release_comments"), "Spaced Name 2.0");
}

TEST(OsText, UnreadableFileIsPlainLinux) {
    EXPECT_EQ(os_of("no_such_os_release"), "Linux");
    EXPECT_EQ(os_text_from(VEXA_SYSINFO_FIXTURES), "Linux");  // a directory opens but reads nothing
    EXPECT_FALSE(os_text().empty());
}

}  // namespace

#include "stream/control/Md5sums.hpp"

#include <gtest/gtest.h>

#include <string>

#include "Failure.hpp"
#include "stream/control/Md5.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::formatMd5sum;
using bex::stream::Md5;
using bex::stream::parseMd5sums;
using bex::test::failureOf;

const std::string sum = "0123456789abcdef0123456789abcdef";

TEST(Md5, GivesTheSumOfAllThatCameSoFar) {
    Md5 md5;
    EXPECT_EQ(md5.hexDigest(), "d41d8cd98f00b204e9800998ecf8427e");
    md5.update("mess", 4);
    const Md5 copy = md5;
    md5.update("age digest", 10);
    EXPECT_EQ(md5.hexDigest(), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(md5.hexDigest(), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_NE(copy.hexDigest(), md5.hexDigest());
}

TEST(Md5sums, ReadsBackWhatItWrites) {
    const char* paths[] = {"usr/bin/tool", "./usr/bin/tool", " a b ", "back\\slash\\n", "*star", "\xFFraw\t\r"};
    std::string text;
    for (const char* path : paths) {
        text += formatMd5sum({sum, path});
    }
    const auto sums = parseMd5sums(text, "md5sums");
    ASSERT_EQ(sums.size(), std::size(paths));
    for (std::size_t i = 0; i < sums.size(); ++i) {
        EXPECT_EQ(sums[i].path, paths[i]);
        EXPECT_EQ(sums[i].digest, sum);
    }
}

TEST(Md5sums, ReadsWhatOtherToolsWrite) {
    const auto sums = parseMd5sums("0123456789ABCDEF0123456789ABCDEF *a\n" + sum + "  last", "md5sums");
    ASSERT_EQ(sums.size(), 2U);
    EXPECT_EQ(sums[0].digest, sum);
    EXPECT_EQ(sums[0].path, "a");
    EXPECT_EQ(sums[1].path, "last");
    EXPECT_TRUE(parseMd5sums("", "md5sums").empty());
}

TEST(Md5sums, RefusesEveryOtherLineByItsNumber) {
    const struct {
        std::string line;
        const char* reason;
    } cases[] = {
        {"", "no sum of 32 hexadecimal digits at its beginning"},
        {sum.substr(1) + "  a", "no sum of 32 hexadecimal digits at its beginning"},
        {"g" + sum.substr(1) + "  a", "no sum of 32 hexadecimal digits at its beginning"},
        {"\\" + sum + "  back\\\\slash", "no sum of 32 hexadecimal digits at its beginning"},
        {sum, "no two blanks after the sum"},
        {sum + " a", "no two blanks after the sum"},
        {sum + "0  a", "no two blanks after the sum"},
        {sum + "\t\ta", "no two blanks after the sum"},
        {sum + "  ", "no path after the sum"},
        {sum + " *", "no path after the sum"},
        {sum + "  a\0b"s, "a NUL in the path"},
    };
    for (const auto& c : cases) {
        const std::string text = formatMd5sum({sum, "a"}) + c.line + "\n" + formatMd5sum({sum, "b"});
        EXPECT_EQ(failureOf([&] { parseMd5sums(text, "p.bex: md5sums"); }), "p.bex: md5sums:2: "s + c.reason)
            << c.line;
    }
}

}  // namespace

#include "bex/stream/Escape.hpp"

#include <gtest/gtest.h>

#include <string>

#include "bex/stream/Entry.hpp"
#include "stream/control/Quoted.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::escapeForDisplay;
using bex::stream::isUtf8;

struct TextCase {
    std::string text;
    bool utf8;
    std::string shown;
};

const TextCase texts[] = {
    {"", true, ""},
    {"plain ~ text", true, "plain ~ text"},
    {"tab\tline\nback\\slash", true, "tab\\tline\\nback\\\\slash"},
    {"\0\x01\x1B[31m\r\x7F"s, true, "\\x00\\x01\\x1b[31m\\x0d\\x7f"},
    {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", true, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
    // The edges of what control characters of two bytes (C1) there are.
    {"\xC2\x80\xC2\x9F\xC2\xA0", true, "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},
    // U+2027, separators U+2028 and U+2029, embeddings and overrides U+202A to U+202E, U+202F.
    {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9", true, "\xE2\x80\xA7\\xe2\\x80\\xa8\\xe2\\x80\\xa9"},
    {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", true, "\\xe2\\x80\\xaa\\xe2\\x80\\xae\xE2\x80\xAF"},
    // U+2065, isolates U+2066 to U+2069, U+206A.
    {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", true,
     "\xE2\x81\xA5\\xe2\\x81\\xa6\\xe2\\x81\\xa9\xE2\x81\xAA"},
    // U+200D, marks U+200E, U+200F and U+061C, U+061B.
    {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xD8\x9C\xD8\x9B", true,
     "\xE2\x80\x8D\\xe2\\x80\\x8e\\xe2\\x80\\x8f\\xd8\\x9c\xD8\x9B"},
    // Written longer than need be: "/" in two, three and four bytes, and the edges of each length.
    {"\xC0\xAF", false, "\\xc0\\xaf"},
    {"\xC1\xBF", false, "\\xc1\\xbf"},
    {"\xE0\x9F\xBF", false, "\\xe0\\x9f\\xbf"},
    {"\xF0\x8F\xBF\xBF", false, "\\xf0\\x8f\\xbf\\xbf"},
    {"\xE0\xA0\x80\xF0\x90\x80\x80", true, "\xE0\xA0\x80\xF0\x90\x80\x80"},
    // Around the surrogates, and around the last code point.
    {"\xED\x9F\xBF\xEE\x80\x80", true, "\xED\x9F\xBF\xEE\x80\x80"},
    {"\xED\xA0\x80", false, "\\xed\\xa0\\x80"},
    {"\xED\xBF\xBF", false, "\\xed\\xbf\\xbf"},
    {"\xF4\x8F\xBF\xBF", true, "\xF4\x8F\xBF\xBF"},
    {"\xF4\x90\x80\x80", false, "\\xf4\\x90\\x80\\x80"},
    {"\xF5\x80\x80\x80", false, "\\xf5\\x80\\x80\\x80"},
    // Alone, cut short, and cut short before a character that is whole.
    {"\x80"
     "a\xFF\xFE",
     false, "\\x80a\\xff\\xfe"},
    {"\xE2\x82", false, "\\xe2\\x82"},
    {"\xF0\x9F\x98"
     "a",
     false, "\\xf0\\x9f\\x98a"},
    {"\xC3\xC3\xA9", false, "\\xc3\xC3\xA9"},
};

TEST(Escape, LeavesNothingThatSteersATerminalOrIsNoText) {
    for (const auto& c : texts) {
        SCOPED_TRACE(c.shown);
        EXPECT_EQ(escapeForDisplay(c.text), c.shown);
        EXPECT_EQ(isUtf8(c.text), c.utf8);
    }
}

TEST(Escape, QuotesLongTextCutAtACharacter) {
    EXPECT_EQ(bex::stream::quoted("a\n"), "\"a\\n\"");
    EXPECT_EQ(bex::stream::quoted(std::string(60, 'a')), '"' + std::string(60, 'a') + '"');
    EXPECT_EQ(bex::stream::quoted(std::string(61, 'a')), '"' + std::string(60, 'a') + "...\"");
    EXPECT_EQ(bex::stream::quoted(std::string(59, 'a') + "\xC3\xA9 b"), '"' + std::string(59, 'a') + "...\"");
    EXPECT_EQ(bex::stream::quoted(std::string(61, '\x80')).substr(0, 5), "\"\\x80");
}

TEST(PlainPath, DropsWhatMeansNothing) {
    const struct {
        const char* path;
        const char* plain;
    } cases[] = {
        {"", ""},
        {".", ""},
        {"./", ""},
        {"/", ""},
        {"//./.", ""},
        {"./usr//bin/", "usr/bin"},
        {"/usr", "usr"},
        {"a/./b", "a/b"},
        {"a/.", "a"},
        {"../a/..", "../a/.."},
        {".../.a", ".../.a"},
        {"./ ", " "},
        {"a\nb//", "a\nb"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bex::stream::plainPath(c.path), c.plain) << c.path;
    }
    EXPECT_EQ(bex::stream::plainPath(std::string(1 << 20, '/') + "a"), "a");
}

}  // namespace

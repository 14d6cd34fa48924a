#include "bex/stream/Escape.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "bex/stream/Entry.hpp"
#include "stream/control/Quoted.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::plainPath;

TEST(Escape, LeavesNothingThatSteersATerminalOrIsNoText) {
    const struct {
        std::string text;
        bool utf8;
        std::string shown;  ///< "" for the text as it is
    } cases[] = {
        {"", true, ""},
        {"plain ~ text", true, ""},
        {"tab\tline\nback\\slash", true, "tab\\tline\\nback\\\\slash"},
        {"\0\x01\x1B[31m\r\x7F"s, true, "\\x00\\x01\\x1b[31m\\x0d\\x7f"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", true, ""},
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
        // The first characters of three and four bytes, those around the surrogates, the last one.
        {"\xE0\xA0\x80\xF0\x90\x80\x80\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", true, ""},
        // Written longer than need be: "/" in two bytes, and the edge of each length.
        {"\xC0\xAF", false, "\\xc0\\xaf"},
        {"\xC1\xBF", false, "\\xc1\\xbf"},
        {"\xE0\x9F\xBF", false, "\\xe0\\x9f\\xbf"},
        {"\xF0\x8F\xBF\xBF", false, "\\xf0\\x8f\\xbf\\xbf"},
        // The first and the last surrogate, and what lies beyond the last code point.
        {"\xED\xA0\x80", false, "\\xed\\xa0\\x80"},
        {"\xED\xBF\xBF", false, "\\xed\\xbf\\xbf"},
        {"\xF4\x90\x80\x80", false, "\\xf4\\x90\\x80\\x80"},
        {"\xF5\x80\x80\x80", false, "\\xf5\\x80\\x80\\x80"},
        // Alone, cut short, and cut short before a character that is whole.
        {"\x80-\xFF\xFE", false, "\\x80-\\xff\\xfe"},
        {"\xE2\x82", false, "\\xe2\\x82"},
        {"\xF0\x9F\x98-", false, "\\xf0\\x9f\\x98-"},
        {"\xC3\xC3\xA9", false, "\\xc3\xC3\xA9"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bex::stream::escapeForDisplay(c.text), c.shown.empty() ? c.text : c.shown);
        EXPECT_EQ(bex::stream::isUtf8(c.text), c.utf8) << c.shown;
    }
}

TEST(Escape, QuotesLongTextCutAtACharacter) {
    const std::string longest(60, 'a');
    EXPECT_EQ(bex::stream::quoted(longest), '"' + longest + '"');
    EXPECT_EQ(bex::stream::quoted(longest.substr(1) + "\xC3\xA9 b"), '"' + longest.substr(1) + "...\"");
    EXPECT_EQ(bex::stream::quoted(std::string(61, '\x80')).substr(0, 5), "\"\\x80");
}

TEST(PlainPath, DropsWhatMeansNothing) {
    const std::pair<const char*, const char*> cases[] = {
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
    for (const auto& [path, plain] : cases) {
        EXPECT_EQ(plainPath(path), plain) << path;
    }
    EXPECT_EQ(plainPath(std::string(1 << 20, '/') + "a"), "a");
}

}  // namespace

#include "bex/stream/Escape.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "bex/stream/Entry.hpp"
#include "stream/base/Quoted.hpp"

namespace {

using bex::stream::plainPath;

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

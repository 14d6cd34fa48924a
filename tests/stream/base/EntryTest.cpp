#include "bex/stream/Entry.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using bex::stream::plainPath;

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

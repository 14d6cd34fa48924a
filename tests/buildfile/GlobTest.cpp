#include "buildfile/contents/Glob.hpp"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace bex::test {
namespace {

using buildfile::Glob;

TEST(Glob, MatchesBelowWhatStandsBeforeTheFirstWildcard) {
    const struct {
        const char* pattern;
        const char* root;
        const char* path;
        bool takes;
    } cases[] = {
        {"docs/*.html", "docs", "a.html", true},
        {"docs/*.html", "docs", "a/b.html", false},
        {"docs/**/*.html", "docs", "b.html", true},
        {"docs/**/*.html", "docs", "a/b/c.html", true},
        {"docs/**/*.html", "docs", "a/b/c.htm", false},
        {"docs/a*/x", "docs", "ab/x", true},
        {"docs/a*/x", "docs", "ab/y/x", false},
        {"**/x", ".", "a/x", true},
        {"/*", "/", "etc", true},
        {"/srv/*", "/srv", "x/deep/file", true},  // a directory that matches is taken with all that is below it
        {"lib{a,b{1,2}}.so*", ".", "libb2.so.1", true},
        {"lib{a,b{1,2}}.so*", ".", "libb.so", false},
        {"{a/x,b}/*", ".", "a/x/y", true},
        {"{a/x,b}/*", ".", "a/y", false},
        {"x{y/*", ".", "x{y/z", true},  // a brace that nothing closes is itself
        {"[ab]?", ".", ".a", false},
        {"*", ".", ".hidden", true},
        {"a\\*b", ".", "a*b", true},
        {"a\\*b", ".", "axb", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pattern) + " " + c.path);
        const Glob glob(c.pattern);
        EXPECT_EQ(glob.root(), c.root);
        EXPECT_EQ(glob.takes(c.path), c.takes);
    }
}

TEST(Glob, MatchesWholePathsFromItsOwnStart) {
    const struct {
        const char* pattern;
        const char* path;
        bool matches;
    } cases[] = {
        {"opt", "opt", true},           {"opt", "opt/a", false},     {"opt/*-common", "opt/a-common", true},
        {"opt/a", "opt/a", true},       {"opt/a", "srv/a", false},   {"opt/*-common", "opt/a/b-common", false},
        {"opt/*", "optional/a", false}, {"opt/**/c", "opt/c", true}, {"opt/*", "opt", false},
    };
    for (const auto& [pattern, path, matches] : cases) {
        EXPECT_EQ(Glob(pattern).matches(path), matches) << pattern << ' ' << path;
    }
}

TEST(Glob, SaysWhichDirectoriesNeedNotBeRead) {
    const Glob glob("src/a/*/{x,y/z}.c");
    EXPECT_EQ(glob.root(), "src/a");
    for (const char* directory : {"b", "b/y"}) {
        EXPECT_TRUE(glob.mayBeBelow(directory)) << directory;
    }
    for (const char* directory : {"b/x", "b/y/z", "b/y.c"}) {
        EXPECT_FALSE(glob.mayBeBelow(directory)) << directory;
    }
    EXPECT_TRUE(Glob("**/x").mayBeBelow("a/b/c/d"));
}

TEST(Glob, IsBoundedInTimeAndNumber) {
    std::string stars;
    std::string path;
    std::string braces;
    for (int i = 0; i < 40; ++i) {
        stars += "**/a/";
        path += "a/a/a/";
        braces += "{a,b}";
    }
    EXPECT_FALSE(Glob(stars + "b").takes(path + "c"));
    EXPECT_THROW(Glob{braces}, std::length_error);
}

}  // namespace
}  // namespace bex::test

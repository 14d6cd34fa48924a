#include "shlibs/base/Relation.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "Failure.hpp"
#include "bex/stream/StreamError.hpp"
#include "shlibs/info/ShlibsFile.hpp"

namespace bex::shlibs {
namespace {

using test::failureOf;

/// The order of the field that dpkg-shlibdeps writes, seen in what it wrote of these very words.
TEST(Relation, SortsAndWritesAsDpkgDoes) {
    const struct {
        const char* given;
        const char* sorted;
    } cases[] = {
        {"x (>= 3), x (= 5), x (<< 4), x (= 10), x (>> 4), x (>= 4), x (<= 4), x (= 4), x",
         "x, x (>= 3), x (>= 4), x (>> 4), x (= 4), x (= 5), x (= 10), x (<< 4), x (<= 4)"},
        {"libz|xx,  gg(>> 1), gg (>= 1 ), B:any, e (> 1), a (>= 1) | b, a (>= 2), a | z",
         "B:any, a | z, a (>= 1) | b, a (>= 2), e (>= 1), gg (>= 1), gg (>> 1), libz | xx"},
        {"dd, ,ee [amd64  i386] <!nocheck> <x>, ff,", "dd, ee [amd64  i386] <!nocheck> <x>, ff"},
    };
    for (const auto& c : cases) {
        auto relations = parseRelations(c.given, "test");
        std::stable_sort(relations.begin(), relations.end(), comesBefore);
        std::string text;
        for (const auto& one : relations) {
            text += (text.empty() ? "" : ", ") + formatRelation(one);
        }
        EXPECT_EQ(text, c.sorted);
    }
    for (const char* wrong :
         {"a b", "a (1)", "a (>= )", "a (>= 1", "+a", "a_b", "${x}", "a |", "a (=> 1)", "a [x"}) {
        EXPECT_EQ(failureOf([&] { parseRelations(wrong, "here"); }),
                  "here: \"" + std::string(wrong) + "\" is not a dependency");
    }
}

TEST(Relation, ConcernsABuildForOneArchitectureWithoutProfiles) {
    const std::pair<const char*, bool> cases[] = {
        {"a [amd64]", true},     {"a [i386]", false},    {"a [!i386]", true},    {"a [!amd64 !i386]", false},
        {"a [linux-any]", true}, {"a [any-arm]", false}, {"a <!nocheck>", true}, {"a <nocheck>", false},
        {"a <x> <!y>", true},    {"a <!x y>", false}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(concerns(parseRelations(text, "").front().front(), "amd64"), expected) << text;
    }
}

TEST(ShlibsFile, PrefersItsTypeThenTheFirstLine) {
    const char* const text =
        "# comment\nudeb: libx 1 wrong\nlibx 2 two\nlibx 1 first (>= 1)\nlibx 1 second\nliby 1 deb-less\n"
        "deb: liby 1 typed, more\nlibz 1.2\n\n";
    const std::pair<const char*, const char*> cases[] = {{"libx.so.1", "first (>= 1)"}, {"libx-2.so", "two"},
                                                         {"liby.so.1", "typed, more"},  {"libz-1.2.so", ""},
                                                         {"libx.so.3", "nothing"},      {"libx.so", "nothing"}};
    for (const auto& [soname, expected] : cases) {
        std::vector<std::string> notes;
        EXPECT_EQ(dependencyFromShlibs(text, soname, "f", notes).value_or("nothing"), expected) << soname;
    }
    std::vector<std::string> notes;
    dependencyFromShlibs(text, "libx.so.3", "f", notes);
    EXPECT_THAT(notes, testing::ElementsAre("f:9: is not a line of a shlibs file"));
}

}  // namespace
}  // namespace bex::shlibs

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include "Failure.hpp"
#include "bex/buildfile/BuildFile.hpp"
#include "buildfile/model/Expansion.hpp"
#include "buildfile/model/PackageVersion.hpp"

namespace bex::test {
namespace {

using buildfile::Expansion;
using buildfile::Value;
using buildfile::VersionParts;

std::string expandedText(const std::string& text, Expansion expansion) {
    Value value;
    value.text = text;
    value.at = {3, 7};
    std::string result;
    const std::string failure = failureOf([&] { result = buildfile::expanded(value, expansion, "f"); });
    return failure.empty() ? result : failure;
}

TEST(Expansion, KnowsVariablesDefaultsAndDollars) {
    setenv("BEX_SET", "v", 1);
    setenv("BEX_EMPTY", "", 1);
    unsetenv("BEX_UNSET");
    const struct {
        const char* text;
        const char* braces;
        const char* shell;
    } cases[] = {
        {"a${BEX_SET}b", "avb", "avb"},
        {"${BEX_SET:-x}${BEX_EMPTY:-y}${BEX_UNSET:-z}", "vyz", "vyz"},
        {"${BEX_EMPTY}${BEX_UNSET:-}", "", ""},
        {"$BEX_SET-$BEX_EMPTY.", "$BEX_SET-$BEX_EMPTY.", "v-."},
        {"Foo$1.class $ $-", "Foo$1.class $ $-", "Foo$1.class $ $-"},
        {"$${BEX_SET}$$$", "${BEX_SET}$$", "${BEX_SET}$$"},
        {"${BEX_UNSET}",
         "f:3:7: the environment has no BEX_UNSET; ${BEX_UNSET:-} stands for nothing then, and $$ for a dollar",
         "f:3:7: the environment has no BEX_UNSET; ${BEX_UNSET:-} stands for nothing then, and $$ for a dollar"},
        {"${BEX_SET", "f:3:7: \"${BEX_SET\": no brace closes the one after a dollar",
         "f:3:7: \"${BEX_SET\": no brace closes the one after a dollar"},
        {"${a.b}", "f:3:7: \"a.b\" is not the name of a variable; $$ stands for a dollar",
         "f:3:7: \"a.b\" is not the name of a variable; $$ stands for a dollar"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(expandedText(c.text, Expansion::braces), c.braces);
        EXPECT_EQ(expandedText(c.text, Expansion::shell), c.shell);
        EXPECT_EQ(expandedText(c.text, Expansion::none), c.text);
    }
}

TEST(InitialFile, NamesADirectoryThatCannotBeRead) {
    EXPECT_EQ(failureOf([] { buildfile::initialFile("/no\nsuch"); }), "/no\\nsuch: No such file or directory");
}

TEST(DebianVersion, BringsSemanticVersionsIntoDebiansForm) {
    const struct {
        VersionParts parts;
        const char* expected;
    } cases[] = {
        {{"1.2.3", "", "", "", "", true}, "1.2.3"},
        {{"v1.10", "", "", "", "", true}, "1.10"},
        {{"v1.2.3-rc.1+git5", "", "", "", "", true}, "1.2.3~rc.1+git5"},
        {{"1.2.3-rc.1+git5", "2", "beta1", "meta", "1", true}, "2:1.2.3~beta1+meta-1"},
        {{"1.2.3", "", "beta1", "", "", true}, "1.2.3~beta1"},
        {{"2024.01.15.2", "", "", "", "3", true}, "2024.01.15.2-3"},
        {{"v1.2.3-rc1", "1", "", "", "", false}, "1:v1.2.3-rc1"},
        {{"1.2.x-3", "", "", "", "", true}, "1.2.x-3"},
        {{"", "1", "", "", "", true}, "1:"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(buildfile::debianVersion(c.parts), c.expected) << c.parts.version;
    }
}

}  // namespace
}  // namespace bex::test

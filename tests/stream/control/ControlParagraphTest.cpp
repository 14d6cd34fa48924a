#include "bex/stream/ControlParagraph.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "Failure.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::ControlParagraph;
using bex::test::failureOf;

const std::string sample =
    "Package: hello\nVersion: 2.10-3\nDepends: libc6 (>= 2.36),\n\tmail | exim4\n# a remark\n"
    "Description: greets\n Says hello.\n .\n  as it stands\n";

void expectReadBackTheSame(const ControlParagraph& control) {
    const ControlParagraph again = ControlParagraph::parse(control.format(), "again");
    EXPECT_TRUE(std::equal(control.fields().begin(), control.fields().end(), again.fields().begin(),
                           again.fields().end(),
                           [](const auto& x, const auto& y) { return x.name == y.name && x.value == y.value; }))
        << control.format();
}

TEST(ControlParagraph, TakesValuesAsTheyStandButForTheBlanksAroundThem) {
    const std::pair<std::string, std::string> cases[] = {
        {"Xa:b", "b"},
        {"Xa: \t b \t\n", "b"},
        {"Xa:\n", ""},
        {"Xa: a:b # c\n", "a:b # c"},
        {"Xa:\n b\n", "\nb"},
        {"Xa: b\r\n c\r\n .\r\n", "b\nc\n"},
        {"Xa: b\n c \n . \n .x\n #d\n -\n", "b\nc \n. \n.x\n#d\n-"},
        {"Xa: \x0B\x01\xFF\x0C\n", "\x0B\x01\xFF\x0C"},
        {"\n\r\n#a\nXa: b\n#c\n\td\n\n#e\n\n", "b\nd"},
    };
    for (const auto& [text, value] : cases) {
        const ControlParagraph control = ControlParagraph::parse(text, "control");
        EXPECT_EQ(*control.find("xA"), value) << text;
        expectReadBackTheSame(control);
    }
}

TEST(ControlParagraph, KeepsEveryValueThatItTakes) {
    const char* const blank = "begins or ends its first line with a blank, which is not part of a value";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a  b", ""},
        {".", ""},
        {"a\n", ""},
        {"\n\na\n\n", ""},
        {"a\n  b \n\tc", ""},
        {"a\n. \n ..\n#", ""},
        {"a\nName: b", ""},
        {" ", blank},
        {" a", blank},
        {"a\t\nb", blank},
        {"a\n.\nb", "has a line that is only a dot, which would be read back as an empty line"},
        {"a\n \nb", "has a line of blanks alone"},
        {"a\n\t", "has a line of blanks alone"},
        {"a\0"s, "holds a NUL"},
        {"a\r\nb", "holds a carriage return"},
    };
    for (const auto& [value, refusal] : cases) {
        ControlParagraph control;
        control.set("First", "1");
        const std::string failure = failureOf([&, value = value] { control.set("Xa", value); });
        EXPECT_EQ(failure, refusal.empty() ? "" : "the value of \"Xa\" " + refusal);
        control.set("Last", "2");
        EXPECT_EQ(control.fields().size(), failure.empty() ? 3U : 2U);
        EXPECT_TRUE(!failure.empty() || *control.find("Xa") == value);
        expectReadBackTheSame(control);
    }
}

TEST(ControlParagraph, SetsInPlaceAndRemovesInAnyCase) {
    ControlParagraph control = ControlParagraph::parse(sample, "control");
    EXPECT_EQ(control.find("Descriptio"), nullptr);
    control.set("version", "3");
    control.set("New", "4");
    EXPECT_TRUE(control.remove("PACKAGE"));
    EXPECT_FALSE(control.remove("PACKAGE"));
    for (const char* name : {"", "-a", "#a", "a b", "a:", "a\n", "a\xC3\xA9"}) {
        EXPECT_NE(failureOf([&] { control.set(name, "x"); }), "") << name;
    }
    EXPECT_EQ(control.format(),
              "Version: 3\nDepends: libc6 (>= 2.36),\n mail | exim4\n"
              "Description: greets\n Says hello.\n .\n  as it stands\nNew: 4\n");
}

}  // namespace

#include "bex/stream/ControlParagraph.hpp"

#include <gtest/gtest.h>

#include <string>

#include "Failure.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::ControlParagraph;
using bex::test::failureOf;

TEST(ControlParagraph, SetsInPlaceAndRemovesInAnyCase) {
    ControlParagraph control = ControlParagraph::parse(
        "Package: hello\nVersion: 2.10-3\nDepends: libc6 (>= 2.36),\n\tmail | exim4\n# a remark\n"
        "Description: greets\n Says hello.\n .\n  as it stands\n",
        "control");
    EXPECT_EQ(control.find("Descriptio"), nullptr);
    control.set("version", "3");
    control.set("New", "4");
    EXPECT_TRUE(control.remove("PACKAGE"));
    EXPECT_FALSE(control.remove("PACKAGE"));
    for (const char* name : {"", "-a", "#a", "a b", "a:", "a\n", "a\xC3\xA9"}) {
        EXPECT_NE(failureOf([&] { control.set(name, "x"); }), "") << name;
    }
    EXPECT_EQ(failureOf([&] { control.set("Xa", "a\0"s); }), "the value of \"Xa\" holds a NUL");
    EXPECT_EQ(control.format(),
              "Version: 3\nDepends: libc6 (>= 2.36),\n mail | exim4\n"
              "Description: greets\n Says hello.\n .\n  as it stands\nNew: 4\n");
}

TEST(ControlParagraph, KeepsValuesButForBlanksAroundTheirFirstLine) {
    const std::string cases[][2] = {
        {"Xa:b", "b"},
        {"Xa \t: \t b \t\n", "b"},
        {"Xa: a:b # c\n", "a:b # c"},
        {"Xa:\n b\n", "\nb"},
        {"Xa: b\r\n c\r\n .\r\n", "b\nc\n"},
        {"Xa: b\n c \n . \n .x\n #d\n -\n", "b\nc \n. \n.x\n#d\n-"},
        {"\n\r\n#a\nXa: b\n#c\n\td\n\n#e\n\n", "b\nd"},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(*ControlParagraph::parse(text, "control").find("xA"), value) << text;
    }
    for (const char* value : {"a  b", ".", "a\n", "\n\na\n\n", "a\n  b \n\tc", "a\n. \n ..\n#", "a\nName: b"}) {
        ControlParagraph control;
        control.set("Xa", value);
        EXPECT_EQ(*ControlParagraph::parse(control.format(), "control").find("Xa"), value);
    }
    const std::string refused[][2] = {
        {" ", "begins or ends its first line with a blank, which is not part of a value"},
        {"a\t\nb", "begins or ends its first line with a blank, which is not part of a value"},
        {"a\n.\nb", "has a line that is only a dot, which would be read back as an empty line"},
        {"a\n\t", "has a line with only blanks"},
        {"a\r\nb", "holds a carriage return"},
    };
    for (const auto& [value, reason] : refused) {
        EXPECT_EQ(failureOf([&given = value] { ControlParagraph().set("Xa", given); }),
                  "the value of \"Xa\" " + reason);
    }
}

TEST(ControlParagraph, RefusesWhatIsNoParagraph) {
    const std::string cases[][2] = {
        {"", "1:1: there is no field"},
        {"\n#only\n", "2:1: there is no field"},
        {"\xEF\xBB\xBFXa: b\n", "1:1: begins with a byte order mark"},
        {" a\n", "1:1: a continuation line before the first field"},
        {"Xa: b\nXyz\n", "2:4: a line without a colon is not a field"},
        {"Xa: b\n: c\n", "2:1: a field has no name"},
        {"-Xa: b\n", "1:1: a field name begins with \"-\""},
        {"X a: b\n", "1:2: a field name holds \" \""},
        {"X\xC3\xA9: b\n", "1:2: a field name holds \"\\xc3\""},
        {"X\x7F: b\n", "1:2: a field name holds \"\\x7f\""},
        {"Xa: b\nYa: c\nxA: d\n", "3:1: the field \"xA\" is already in line 1"},
        {"Xa: b\n\nYa: c\n", "3:1: a second paragraph"},
        {"Xa: b\n\n c\n", "3:1: a second paragraph"},
        {"Xa: b\n \t\n c\n", "2:1: a line with only blanks, which some readers take for the end of the paragraph"},
        {"Xa: b\n c\0d\n"s, "2:3: a NUL"},
        {"#\0\n"s, "1:2: a NUL"},
        {"Xa: b\rc\r\n", "1:6: a carriage return inside a line"},
    };
    for (const auto& [text, reason] : cases) {
        EXPECT_EQ(failureOf([&given = text] { ControlParagraph::parse(given, "control"); }), "control:" + reason)
            << text;
    }
}

}  // namespace

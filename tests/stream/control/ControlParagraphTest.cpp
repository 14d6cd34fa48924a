#include "bex/stream/ControlParagraph.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Failure.hpp"
#include "bex/stream/StreamError.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::ControlParagraph;
using bex::test::failureOf;

const std::string sample =
    "Package: hello\n"
    "Version: 2.10-3\n"
    "Depends: libc6 (>= 2.36),\n"
    "\tmail | exim4\n"
    "# a remark\n"
    "Description: greets\n"
    " Says hello.\n"
    " .\n"
    "  as it stands\n";

bool sameFields(const ControlParagraph& a, const ControlParagraph& b) {
    return std::equal(a.fields().begin(), a.fields().end(), b.fields().begin(), b.fields().end(),
                      [](const auto& x, const auto& y) { return x.name == y.name && x.value == y.value; });
}

TEST(ControlParagraph, ReadsFieldsInOrderAndFindsThemInAnyCase) {
    const ControlParagraph control = ControlParagraph::parse("\n\r\n" + sample + "\n#end\n\n", "control");
    ASSERT_EQ(control.fields().size(), 4U);
    EXPECT_EQ(control.fields()[1].name, "Version");
    EXPECT_EQ(*control.find("PACKAGE"), "hello");
    EXPECT_EQ(*control.find("depends"), "libc6 (>= 2.36),\nmail | exim4");
    EXPECT_EQ(*control.find("Description"), "greets\nSays hello.\n\n as it stands");
    EXPECT_EQ(control.find("Descriptio"), nullptr);
}

TEST(ControlParagraph, TakesValuesAsTheyStandButForTheBlanksAroundThem) {
    const struct {
        std::string text;
        std::string value;
    } cases[] = {
        {"Xa:b", "b"},
        {"Xa: \t b \t\n", "b"},
        {"Xa:\n", ""},
        {"Xa: a:b # c\n", "a:b # c"},
        {"Xa:\n b\n", "\nb"},
        {"Xa: b\r\n c\r\n .\r\n", "b\nc\n"},
        {"Xa: b\n c \n . \n .x\n #d\n -\n", "b\nc \n. \n.x\n#d\n-"},
        {"Xa: \x0B\x01\xFF\x0C\n", "\x0B\x01\xFF\x0C"},
    };
    for (const auto& c : cases) {
        const ControlParagraph control = ControlParagraph::parse(c.text, "control");
        EXPECT_EQ(*control.find("xA"), c.value) << c.text;
        EXPECT_TRUE(sameFields(ControlParagraph::parse(control.format(), "again"), control)) << c.text;
    }
}

TEST(ControlParagraph, KeepsEveryValueThatItTakes) {
    const struct {
        std::string value;
        const char* refusal;
    } cases[] = {
        {"", ""},
        {"a  b", ""},
        {".", ""},
        {"a\n", ""},
        {"\n\na\n\n", ""},
        {"a\n  b \n\tc", ""},
        {"a\n. \n ..\n#", ""},
        {"a\nName: b", ""},
        {" ", "begins or ends its first line with a blank, which is not part of a value"},
        {" a", "begins or ends its first line with a blank, which is not part of a value"},
        {"a\t\nb", "begins or ends its first line with a blank, which is not part of a value"},
        {"a\n.\nb", "has a line that is only a dot, which would be read back as an empty line"},
        {"a\n \nb", "has a line of blanks alone"},
        {"a\n\t", "has a line of blanks alone"},
        {"a\0"s, "holds a NUL"},
        {"a\r\nb", "holds a carriage return"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        ControlParagraph control;
        control.set("First", "1");
        const std::string failure = failureOf([&] { control.set("Xa", c.value); });
        EXPECT_EQ(failure, c.refusal[0] == '\0' ? "" : "the value of \"Xa\" "s + c.refusal);
        control.set("Last", "2");
        const ControlParagraph again = ControlParagraph::parse(control.format(), "again");
        EXPECT_TRUE(sameFields(again, control));
        EXPECT_EQ(again.find("Xa") != nullptr && *again.find("Xa") == c.value, failure.empty());
    }
}

TEST(ControlParagraph, SetsInPlaceAndRemoves) {
    ControlParagraph control = ControlParagraph::parse(sample, "control");
    control.set("version", "3");
    control.set("New", "4");
    EXPECT_TRUE(control.remove("PACKAGE"));
    EXPECT_FALSE(control.remove("PACKAGE"));
    EXPECT_EQ(control.format(),
              "Version: 3\nDepends: libc6 (>= 2.36),\n mail | exim4\n"
              "Description: greets\n Says hello.\n .\n  as it stands\nNew: 4\n");
    const char* names[] = {"", "-a", "#a", "a b", "a:", "a\n", "a\xC3\xA9"};
    for (const char* name : names) {
        EXPECT_NE(failureOf([&] { control.set(name, "x"); }), "") << name;
    }
    EXPECT_EQ(control.fields().size(), 4U);
}

/// The paragraph, or nothing when parse() refuses the text as damaged; whatever else it throws is not caught.
std::optional<ControlParagraph> parsed(const std::string& text) {
    try {
        return ControlParagraph::parse(text, "damaged");
    } catch (const bex::stream::StreamError& failure) {
        EXPECT_EQ(failure.kind(), bex::stream::ErrorKind::damaged);
        return std::nullopt;
    }
}

void expectRefusedOrKept(const std::string& text) {
    const auto control = parsed(text);
    if (control) {
        EXPECT_TRUE(sameFields(ControlParagraph::parse(control->format(), "again"), *control)) << text;
        control->faults();
    }
}

TEST(ControlParagraph, RefusesOrKeepsEveryDamagedText) {
    for (std::size_t size = 0; size <= sample.size(); ++size) {
        expectRefusedOrKept(sample.substr(0, size));
        expectRefusedOrKept(sample.substr(size));
    }
    for (std::size_t at = 0; at < sample.size(); ++at) {
        for (const char byte : "\n\r\t #-.:aP\x7F\x80\xFF") {
            std::string damaged = sample;
            damaged[at] = byte;
            expectRefusedOrKept(damaged);
        }
    }
}

TEST(ControlParagraph, ReadsManyFieldsAndLongValues) {
    std::string text = "Long:";
    for (int i = 0; i < 200000; ++i) {
        text += " abcdefghijklmnopqrstuvwxyz 0123456789\n";
    }
    for (int i = 0; i < 200000; ++i) {
        text += "F" + std::to_string(i) + ": v\n";
    }
    const ControlParagraph control = ControlParagraph::parse(text, "large");
    EXPECT_EQ(control.fields().size(), 200001U);
    EXPECT_EQ(control.format().size(), text.size());
    EXPECT_EQ(failureOf([&] { ControlParagraph::parse(text + "f7: w\n", "large"); }),
              "large:400001:1: the field \"f7\" stands in line 200008 already");
}

}  // namespace

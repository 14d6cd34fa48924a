#include <gmock/gmock.h>

#include <map>

#include "Packages.hpp"

namespace bex::test {
namespace {

using Fields = std::map<std::string, std::string>;
using Setter = void (ZRBex::*)(const std::string&);

TEST(Fields, ThatAreCheckedKeepTheirOldValueWhenTheNewOneIsRefused) {
    std::string exhausting;
    for (int i = 0; i < 500; ++i) {
        exhausting += " <";  // a regular expression's matcher gives up on it
    }
    const struct {
        Setter set;
        const char* field;
        std::string message;
        Strings accepted;
        Strings refused;
    } cases[] = {
        {&ZRBex::setEssential,
         "Essential",
         "Incorrect format for field Essential. It must be yes or no",
         {"yes", "no"},
         {"", "Yes", "YES", "yes ", "yes\n", "y", "yesno"}},
        {&ZRBex::setMaintainer,
         "Maintainer",
         "Incorrect format for field Maintainer.It must be of this form: "
         "Firstname Lastname <firstname.lastname@example.org>",
         {"Ann Lee <ann@example.org>", "Ann van Lee <ann@example.org>", "Ann Lee <ann@example.org",
          "Ann Lee <ann@example.org> (home)", "Ann Lee <ann@example.org>\n", "Ann\nLee B <ann@example.org>"},
         {"", "Ann <ann@example.org>", "Ann Lee <ann@example>", "Ann Lee <ann.example.org>",
          "Ann Lee ann@example.org", "Ann Lee<ann@example.org>", "Ann Lee <@example.org>", "Ann Lee <ann@example.",
          exhausting, exhausting + "@" + exhausting}},
    };
    for (const auto& c : cases) {
        ZRBex package;
        for (const std::string& value : c.refused) {
            EXPECT_EQ(failureOf([&] { (package.*c.set)(value); }), c.message) << value;
            EXPECT_EQ(package.getMetaData(), Fields()) << value;
        }
        for (const std::string& value : c.accepted) {
            EXPECT_EQ(failureOf([&] { (package.*c.set)(value); }), "") << value;
            EXPECT_EQ(failureOf([&] { (package.*c.set)(c.refused.back()); }), c.message);
            EXPECT_EQ(package.getMetaData(), (Fields{{c.field, value}}));
        }
    }
}

TEST(Fields, AreReadLineByLineWithoutJudgingValues) {
    const struct {
        std::string text;
        Fields fields;
        const char* why;
    } cases[] = {
        {"Package: p\nVersion: 1\nDescription: d", {}, "no line feed at the end"},
        {kControl + "Essential: ?\nMaintainer: ?\n",
         {{"Essential", "?"}, {"Maintainer", "?"}},
         "no setter's value"},
        {kControl + "Depends: a: b, c\n", {{"Depends", "a: b, c"}}, "another name, cut at the first colon"},
        {kControl + "\nno colon\nColon:only\n: no key\n continued\n  .\n", {}, "lines that are not a field"},
        {kControl + " k: v\n", {{" k", "v"}}, "a key is not trimmed"},
        {kControl + "Section:  two\t\r\n", {{"Section", " two\t\r"}}, "nor is a value"},
        {"Version: 0\n" + kControl, {}, "the last of a name counts"},
        {kControl + "Section: \n", {{"Section", ""}}, "an empty value"},
        {kControl + "Section: caf\xc3\xa9 \xff\n", {{"Section", "caf\xc3\xa9 \xff"}}, "any bytes"},
    };
    const TemporaryDirectory dir;
    for (const auto& c : cases) {
        Fields expected = c.fields;
        expected.insert(
            {{"Package", "p"}, {"Version", "1"}, {"Description", "d"}, {"Maintainer", ""}, {"Essential", ""}});
        EXPECT_EQ(Package(dir.write("p.bex", packageFile("", c.text))).getMetaData(), expected) << c.why;
    }
}

}  // namespace
}  // namespace bex::test

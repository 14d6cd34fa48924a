#include <gtest/gtest.h>

#include <map>

#include "Packages.hpp"

namespace bex::test {
namespace {

using Fields = std::map<std::string, std::string>;

/// The "control" text that closing the package writes.
std::string controlTextOf(Package& package) {
    const CapturedOutput output;
    package.close();
    const auto entries = contentsOf(memberOf(package.getFilename(), "control.tar.gz"));
    EXPECT_EQ(entries.size() == 1 ? entries[0].first : "", "control");
    return entries.at(0).second;
}

TEST(ControlFile, IsOneRawLinePerFieldInByteOrder) {
    const TemporaryDirectory dir;
    Package all(dir / "all.bex");
    all.withFields().with("file", "1");
    all.setDescription("first\nsecond: line\r");
    all.setSection("");
    all.setPriority("optional");
    all.setEssential("no");
    all.setMaintainer("Ann Lee <ann@example.org>");
    all.setArchitecture("all");
    EXPECT_EQ(
        controlTextOf(all),
        "Architecture: all\nDescription: first\nsecond: line\r\nEssential: no\n"
        "Maintainer: Ann Lee <ann@example.org>\nPackage: tool\nPriority: optional\nSection: \nVersion: 1.0\n");
}

TEST(ControlFile, IsReadLineByLineWithoutJudgingValues) {
    const struct {
        std::string text;
        Fields fields;
        const char* why;
    } cases[] = {
        {"Package: p\nVersion: 1\nDescription: d", {}, "no line feed at the end"},
        {kControl + "Essential: perhaps\nMaintainer: nobody\n",
         {{"Essential", "perhaps"}, {"Maintainer", "nobody"}},
         "values that no setter takes"},
        {kControl + "Depends: a: b, c\n",
         {{"Depends", "a: b, c"}},
         "a field of another name, cut at the first colon"},
        {kControl + "\nno colon\nColon:only\n: no key\n continued\n  .\n", {}, "lines that are no field"},
        {kControl + " k: v\n", {{" k", "v"}}, "a key is not trimmed"},
        {kControl + "Section:  two\t\r\n", {{"Section", " two\t\r"}}, "nor is a value"},
        {"Version: 0\n" + kControl, {}, "the last of a name counts"},
        {kControl + "Section: \n", {{"Section", ""}}, "an empty value"},
        {kControl + "Section: caf\xc3\xa9 \xff\n", {{"Section", "caf\xc3\xa9 \xff"}}, "any bytes"},
    };
    const TemporaryDirectory dir;
    for (const auto& c : cases) {
        Fields expected{
            {"Package", "p"}, {"Version", "1"}, {"Description", "d"}, {"Maintainer", ""}, {"Essential", ""}};
        for (const auto& [name, value] : c.fields) {
            expected[name] = value;
        }
        const Package package(dir.write("p.bex", packageOf("", c.text)));
        EXPECT_EQ(package.getMetaData(), expected) << c.why;
    }
}

TEST(ControlFile, ThatMissesAFieldFailsAndKeepsWhatWasRead) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"", "Missing version."},
        {"Section: s\nPackage: p\nDescription: d\n", "Missing version."},
        {"Section: s\nVersion: \nDescription: d\n", "Missing version."},
        {"Section: s\nversion: 1\n", "Missing version."},
        {"Section: s\nVersion: 1\nDescription: d\n", "Missing package name."},
        {"Section: s\nVersion: 1\nPackage: p\n", "Missing description"},
    };
    const TemporaryDirectory dir;
    for (const auto& c : cases) {
        Package package;
        const std::string path = dir.write("p.bex", packageOf(tarEntry("file", "1"), c.text));
        EXPECT_EQ(failureOf([&] { package.open(path); }), c.message) << c.text;
        EXPECT_EQ(package.getMetaData().count("Section"), std::string(c.text).empty() ? 0U : 1U);
        EXPECT_EQ(package.getMetaData().count("Maintainer"), 0U);
        EXPECT_EQ(package.getFilename(), "");
    }
}

TEST(ControlFile, AddsToTheFieldsThatAreThereAndWritesAllOfThemBack) {
    const TemporaryDirectory dir;
    Package package;
    package.setSection("kept");
    package.setVersion("replaced");
    package.open(dir.write("p.bex", packageOf(tarEntry("file", "1"), kControl + "Depends: x\nalpha: a\n")));
    EXPECT_EQ(controlTextOf(package),
              "Depends: x\nDescription: d\nEssential: \nMaintainer: \nPackage: p\nSection: kept\nVersion: "
              "1\nalpha: a\n");
}

}  // namespace
}  // namespace bex::test

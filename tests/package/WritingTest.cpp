#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::HasSubstr;

TEST(WritingAPackage, GivesThreeMembersThatOtherProgramsRead) {
    const TemporaryDirectory dir;
    dir.write("site/index.html", "<p>hello");
    const std::string path = dir / "site.bex";
    Package package(path);
    package.withFields().with("etc/note", "in memory").add(dir / "site", "var/www");
    package.with("etc/empty", "").setArchitecture("all");
    package.setMaintainer("Ann Lee <ann@example.org>");
    package.setDescription("first\n second: line");
    package.setSection("");
    package.setPriority("\xff");
    package.setEssential("no");
    const CapturedOutput output;
    package.close();
    EXPECT_EQ(output.text(), "Archive " + path + " has been created.\n");
    EXPECT_EQ(package.getFiles().size(), 4U) << "its names stay readable";
    const auto members = entriesOf(dir.read("site.bex"));
    ASSERT_EQ(members.size(), 3U);
    EXPECT_EQ(members[0].bytes, "2.0\n");
    const auto control = entriesOf(members[1].bytes);
    EXPECT_EQ(contentsOf(members[1].bytes),
              (Contents{{"control",
                         "Architecture: all\nDescription: first\n second: line\nEssential: no\n"
                         "Maintainer: Ann Lee <ann@example.org>\nPackage: tool\nPriority: \xff\n"
                         "Section: \nVersion: 1.0\n"}}));
    const auto data = entriesOf(members[2].bytes);
    EXPECT_EQ(
        contentsOf(members[2].bytes),
        (Contents{
            {"var/www/", ""}, {"var/www/index.html", "<p>hello"}, {"etc/note", "in memory"}, {"etc/empty", ""}}));
    for (const auto& entry : {members[0], members[1], members[2], control[0], data[2], data[3]}) {
        EXPECT_EQ(entry.mode, S_IFREG | 0600) << entry.name;
        EXPECT_EQ(entry.uid, 0) << entry.name;
    }

    EXPECT_EQ(outputOf("ar t " + path), "debian-binary\ncontrol.tar.gz\ndata.tar.gz\n");
    EXPECT_EQ(outputOf("ar p " + path + " data.tar.gz | gzip -dc | tar -xOf - etc/note"), "in memory");
    EXPECT_THAT(outputOf("dpkg-deb --info " + path),
                testing::AllOf(HasSubstr(" new Debian package, version 2.0."), HasSubstr("Package: tool\n")));
    EXPECT_THAT(outputOf("dpkg-deb --contents " + path), testing::ContainsRegex("8 .* var/www/index.html\n"));
}

TEST(WritingAPackage, AsksForPathThenContentThenEachMandatoryField) {
    const TemporaryDirectory dir;
    Package package;
    const std::pair<const char*, std::function<void()>> steps[] = {
        {"No filename specified. Can't write archive to disk.", [&] { package.open(dir / "p.bex"); }},
        {"Empty archives are not allowed. Please add some files.", [&] { package.with("f", "1"); }},
        {"Missing version.", [&] { package.setVersion(""); }},
        {"Missing version.", [&] { package.setVersion("1"); }},
        {"Missing package name.", [&] { package.setPackageName(""); }},
        {"Missing package name.", [&] { package.setPackageName("p"); }},
        {"Missing description", [&] { package.setDescription(""); }},
        {"Missing description", [&] { package.setDescription("d"); }},
    };
    const CapturedOutput output;
    for (const auto& [message, remedy] : steps) {
        EXPECT_EQ(failureOf([&] { package.close(); }), message);
        remedy();
    }
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(fs::exists(dir / "p.bex")) << "nothing is written before all is given";
    EXPECT_EQ(failureOf([&] { package.close(); }), "");
    EXPECT_EQ(contentsOf(memberOf(dir / "p.bex", "data.tar.gz")), (Contents{{"f", "1"}}));
    Package full;
    EXPECT_EQ(failureOf([&] { full.withFields().with("f", "1").close(); }), steps[0].first);
}

TEST(WritingAPackage, ReplacesTheFileUnderTheProcesssMaskOrSaysThatItCannot) {
    const TemporaryDirectory dir;
    const auto failureAt = [&](const std::string& name) {
        Package package(dir / name);
        package.withFields().with("f", "1");
        dir.write("old.bex", std::string(100000, 'x'));
        return failureOf([&] { package.close(); });
    };
    const mode_t before = umask(027);
    EXPECT_EQ(failureAt("new.bex"), "");
    fs::remove(dir / "old.bex");
    EXPECT_EQ(failureAt("old.bex"), "");
    umask(before);
    EXPECT_EQ(fs::status(dir / "new.bex").permissions(), fs::perms{0640});
    EXPECT_EQ(fs::file_size(dir / "old.bex"), fs::file_size(dir / "new.bex")) << "nothing longer is left";
}

}  // namespace
}  // namespace bex::test

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::HasSubstr;

TEST(WritingAPackage, GivesThreeMembersThatOtherProgramsRead) {
    const TemporaryDirectory dir;
    dir.write("site/index.html", "<p>hello");
    const std::string path = dir / "site.bex";
    const CapturedOutput output;
    {
        Package package(path);
        package.withFields().with("etc/note", "in memory").add(dir / "site", "var/www");
        package.with("etc/empty", "");
        package.setArchitecture("all");
        package.setMaintainer("Ann Lee <ann@example.org>");
        package.close();
        EXPECT_EQ(output.text(), "Archive " + path + " has been created.\n");
        EXPECT_EQ(package.getFiles().size(), 4U) << "its names stay readable";
    }
    const auto members = entriesOf(dir.read("site.bex"));
    ASSERT_EQ(members.size(), 3U);
    EXPECT_EQ(members[0].bytes, "2.0\n");
    const auto control = entriesOf(members[1].bytes);
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
                testing::AllOf(HasSubstr(" new Debian package, version 2.0."), HasSubstr("Package: tool\n"),
                               HasSubstr("Maintainer: Ann Lee <ann@example.org>\n")));
    EXPECT_THAT(outputOf("dpkg-deb --contents " + path), testing::ContainsRegex("8 .* var/www/index.html\n"));
}

TEST(WritingAPackage, AsksForPathThenContentThenFields) {
    const std::string noPath = "No filename specified. Can't write archive to disk.";
    const std::string noFiles = "Empty archives are not allowed. Please add some files.";
    const std::pair<std::string, std::string> cases[] = {
        {"", noPath},
        {"files", noPath},
        {"fields", noPath},
        {"files fields", noPath},
        {"path", noFiles},
        {"path fields", noFiles},
        {"path files", "Missing version."},
        {"path files fields", ""},
    };
    for (const auto& [given, message] : cases) {
        const TemporaryDirectory dir;
        const CapturedOutput output;
        const auto has = [&set = given](const char* what) { return set.find(what) != std::string::npos; };
        Package package(has("path") ? dir / "p.bex" : "");
        has("files") ? package.with("f", "1") : package;
        has("fields") ? package.withFields() : package;
        EXPECT_EQ(failureOf([&] { package.close(); }), message) << given;
        EXPECT_EQ(output.text().empty(), !message.empty());
        EXPECT_EQ(fs::exists(dir / "p.bex"), message.empty());
    }
}

TEST(WritingAPackage, ReplacesTheFileUnderTheProcesssMaskOrSaysThatItCannot) {
    const TemporaryDirectory dir;
    const CapturedOutput output;
    const mode_t before = umask(027);
    for (const std::string name : {"new.bex", "old.bex", "missing/p.bex"}) {
        Package package(dir / name);
        package.withFields().with("f", "1");
        if (name == "old.bex") {
            dir.write(name, std::string(100000, 'x'));
        }
        EXPECT_EQ(failureOf([&] { package.close(); }),
                  name == "missing/p.bex" ? "Can't write archive to file " + (dir / name) + "." : "");
    }
    umask(before);
    EXPECT_EQ(fs::status(dir / "new.bex").permissions(), fs::perms{0640});
    EXPECT_EQ(fs::file_size(dir / "old.bex"), fs::file_size(dir / "new.bex"))
        << "nothing of the longer file is left";
}

}  // namespace
}  // namespace bex::test

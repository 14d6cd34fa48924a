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
    EXPECT_EQ(outputOf("ar p " + path + " control.tar.gz | tar -tzf -"), "control\n");
    EXPECT_THAT(outputOf("dpkg-deb --info " + path),
                testing::AllOf(HasSubstr(" new Debian package, version 2.0."), HasSubstr("Package: tool\n"),
                               HasSubstr("Maintainer: Ann Lee <ann@example.org>\n")));
    EXPECT_THAT(outputOf("dpkg-deb --contents " + path), testing::ContainsRegex("8 .* var/www/index.html\n"));
    EXPECT_EQ(outputOf("dpkg-deb --field " + path + " Version"), "1.0\n");
}

TEST(WritingAPackage, AsksForPathThenContentThenFields) {
    const TemporaryDirectory dir;
    const std::string noPath = "No filename specified. Can't write archive to disk.";
    const std::string noFiles = "Empty archives are not allowed. Please add some files.";
    const struct {
        bool path, files, fields;
        std::string message;
    } cases[] = {
        {false, false, false, noPath},
        {false, false, true, noPath},
        {false, true, true, noPath},
        {false, true, false, noPath},
        {true, false, true, noFiles},
        {true, false, false, noFiles},
        {true, true, false, "Missing version."},
        {true, true, true, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.path << c.files << c.fields);
        const CapturedOutput output;
        Package package;
        if (c.path) {
            package.open(dir / "p.bex");
        }
        if (c.files) {
            package.with("f", "1");
        }
        if (c.fields) {
            package.withFields();
        }
        EXPECT_EQ(failureOf([&] { package.close(); }), c.message);
        EXPECT_EQ(output.text().empty(), !c.message.empty());
        EXPECT_EQ(fs::exists(dir / "p.bex"), c.message.empty());
    }
}

TEST(WritingAPackage, ReplacesTheFileUnderTheProcesssMask) {
    const TemporaryDirectory dir;
    const std::string path = dir / "p.bex";
    Package package(path);
    package.withFields().with("f", "1");
    const CapturedOutput output;
    const mode_t before = umask(027);
    package.close();
    umask(before);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});

    Package again(dir / "q.bex");
    again.withFields().with("f", "1");
    dir.write("q.bex", std::string(100000, 'x'));
    again.close();
    EXPECT_EQ(contentsOf(dir.read("q.bex")).size(), 3U);
    EXPECT_LT(fs::file_size(dir / "q.bex"), 2000U) << "nothing of the longer file is left";
}

TEST(WritingAPackage, SaysWhatStopsIt) {
    const TemporaryDirectory dir;
    const CapturedOutput output;
    const std::string path = dir / "missing/p.bex";
    Package nowhere(path);
    nowhere.withFields().with("f", "1");
    EXPECT_EQ(failureOf([&] { nowhere.close(); }), "Can't write archive to file " + path + ".");

    Package unnamed(dir / "p.bex");
    const std::string name(300, 'n');
    unnamed.withFields().with("f", "1").with(name, "2");
    EXPECT_EQ(failureOf([&] { unnamed.close(); }), "Couldn't write header for file " + name);
    EXPECT_FALSE(fs::exists(dir / "p.bex"));
    EXPECT_EQ(output.text(), "");
}

}  // namespace
}  // namespace bex::test

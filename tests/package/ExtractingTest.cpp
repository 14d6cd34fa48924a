#include <gtest/gtest.h>

#include <boost/filesystem/exception.hpp>
#include <set>

#include "Packages.hpp"

namespace bex::test {
namespace {

using Paths = std::set<std::string>;

/// Everything below `dir`, directories with a slash.
Paths treeOf(const fs::path& dir) {
    Paths found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir)) {
        found.insert(entry.path().lexically_relative(dir).string() + (entry.is_directory() ? "/" : ""));
    }
    return found;
}

TEST(Extracting, WritesBelowTheDestinationAndNowhereElse) {
    const struct {
        const char* name;
        const char* top;
        Paths found;
    } cases[] = {
        {"a/b/f", "", {"a/", "a/b/", "a/b/f"}},
        {"./a/f", "", {"a/", "a/f"}},
        {"a/../f", "", {"a/", "f"}},
        {"a/./f", "", {"a/", "a/f"}},
        {"//etc//f", "", {"etc/", "etc/f"}},
        {"d/", "", {"d/"}},
        {"..f", "", {"..f"}},
        {"../f", "", {}},
        {"/../f", "", {}},
        {"./../f", "", {}},
        {"../new/f", "", {}},
        {"a/../../new/f", "", {}},
        {"..", "", {}},
        {".", "", {}},
        {"/", "", {}},
        {"", "", {}},
        {"f", "x", {"x"}},
        {"./usr/bin/f", "opt", {"opt/", "opt/usr/", "opt/usr/bin/", "opt/usr/bin/f"}},
        {"usr/bin/f", "opt", {"opt/", "opt/bin/", "opt/bin/f"}},
        {"/usr/f", "opt", {"opt/", "opt/usr/", "opt/usr/f"}},
        {"../f", "opt", {"opt/", "opt/f"}},
        {"usr/f", "a/b", {"a/", "a/b/", "a/b/f"}},
    };
    for (const auto& c : cases) {
        const TemporaryDirectory dir;
        fs::create_directories(dir / "in/dest");
        Paths expected{"in/", "in/dest/"};
        for (const std::string& path : c.found) {
            expected.insert("in/dest/" + path);
        }
        Package package;
        package.with(c.name, "bytes");
        EXPECT_EQ(failureOf([&] { package.extract(dir / "in/dest", c.top); }), "");
        EXPECT_EQ(treeOf(dir.path()), expected) << '"' << c.name << "\" with \"" << c.top << '"';
    }
}

TEST(Extracting, SkipsWhatItCannotWriteAndWritesTheRest) {
    const TemporaryDirectory dir;
    dir.write("dest/old", "longer than the new");
    fs::create_directory(dir / "dest/directory");
    const std::string bytes("\0\r\n\xff", 4);
    Package package;
    package.add(dir.write("disk", "d"), "disk");
    package.with("", "no name").with("a/../../x", "out").with("directory", "in the way");
    package.with(std::string(300, 'n'), "too long").with("old", "new");
    package.with("a/b", bytes).with("a/c", "").with("/a/c", "last of a name");
    EXPECT_EQ(failureOf([&] { package.extract(dir / "dest", ""); }), "");
    EXPECT_EQ(treeOf(dir.path()),
              (Paths{"disk", "dest/", "dest/a/", "dest/a/b", "dest/a/c", "dest/directory/", "dest/old"}));
    EXPECT_EQ(dir.read("dest/old") + dir.read("dest/a/b") + dir.read("dest/a/c"),
              "new" + bytes + "last of a name");
    EXPECT_EQ(failureOf([&] { package.extract(dir / "dest/", "top/below"); }), "")
        << "a nameless entry does not stand where the replacement's directory should";
    EXPECT_EQ(dir.read("dest/top/below/b"), bytes);
}

TEST(Extracting, FollowsLinksThatStayBelowTheDestinationAlone) {
    const TemporaryDirectory dir;
    for (const char* path : {"trap/file", "trap/twin", "dest/real/file"}) {
        dir.write(path, "old");
    }
    fs::create_symlink("real", dir / "dest/inside");
    fs::create_symlink("real/file", dir / "dest/link");
    fs::create_symlink("../trap", dir / "dest/outside");
    fs::create_symlink("../trap/file", dir / "dest/away");
    fs::create_hard_link(dir / "trap/twin", dir / "dest/twin");
    Package package;
    for (const char* name : {"inside/new", "link", "outside/file", "away", "twin"}) {
        package.with(name, name);
    }
    package.extract(dir / "dest", "");
    EXPECT_EQ(dir.read("trap/file") + dir.read("trap/twin"), "oldold");
    EXPECT_EQ(dir.read("dest/real/new") + dir.read("dest/real/file"), "inside/newlink");
    EXPECT_EQ(dir.read("dest/away") + dir.read("dest/twin"), "awaytwin");
}

TEST(Extracting, NeedsADirectoryToWriteTo) {
    const TemporaryDirectory dir;
    Package package;
    package.with("a", "file").with("a/b", "below it");
    for (const std::string& place : {dir / "missing", dir.write("file", "f"), std::string()}) {
        EXPECT_EQ(
            failureOf([&] { package.extract(place, ""); }),
            "Can't extract bex file to `" + place + "': `" + place + "' does not exist or is not a directory.");
    }
    EXPECT_EQ(treeOf(dir.path()), Paths{"file"});
    EXPECT_THROW(package.extract(dir / "", ""), boost::filesystem::filesystem_error) << "a file is in the way";
    EXPECT_EQ(dir.read("a"), "file") << "what was written before stays";
}

}  // namespace
}  // namespace bex::test

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem/exception.hpp>
#include <map>
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
        {"a/../f", "", {"a/", "f"}},
        {"//etc//f", "", {"etc/", "etc/f"}},
        {"d/", "", {"d/"}},
        {"..f", "", {"..f"}},
        {"../f", "", {}},
        {"../new/f", "", {}},
        {"a/../../new/f", "", {"a/"}},
        {"..", "", {}},
        {".", "", {}},
        {"/", "", {}},
        {"//net/", "", {"net/"}},
        {"", "", {}},
        {"./usr/bin/f", "opt", {"opt/", "opt/usr/", "opt/usr/bin/", "opt/usr/bin/f"}},
        {"/usr/f", "opt", {"opt/", "opt/usr/", "opt/usr/f"}},
        {"../f", "opt", {"opt/", "opt/f"}},
        {".", "opt", {"opt"}},
        {"..", "a/opt", {"a/", "a/opt"}},
        {"/", "opt", {"opt"}},
        {"///", "opt", {"opt"}},
        {"./", "opt", {"opt/"}},
        {".", "../opt", {}},
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

TEST(Extracting, WritesAllBytesOfWhatIsInMemoryAndNothingElse) {
    const TemporaryDirectory dir;
    dir.write("old", "longer than the new");
    const std::string bytes("\0\r\n\xff", 4);
    Package package;
    package.add("/proc/self/exe", "disk");
    package.with("", "no name")
        .with("a/b", bytes)
        .with("a/c", "")
        .with("/a/c", "last of a name")
        .with("old", "new");
    EXPECT_EQ(failureOf([&] { package.extract(dir / "", ""); }), "");
    EXPECT_EQ(treeOf(dir.path()), (Paths{"a/", "a/b", "a/c", "old"}));
    EXPECT_EQ(dir.read("old") + dir.read("a/b") + dir.read("a/c"), "new" + bytes + "last of a name");
    EXPECT_EQ(failureOf([&] { package.extract(dir / "", "top/below"); }), "") << "a nameless entry is not the top";
}

/// Every path below `dir` with its mode and its contents or target.
std::map<std::string, std::string> describedTree(const fs::path& dir) {
    std::map<std::string, std::string> found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir)) {
        const fs::file_status status = entry.symlink_status();
        std::ifstream file(fs::is_regular_file(status) ? entry.path() : fs::path());
        std::ostringstream text;
        text << static_cast<int>(status.type()) << ' ' << std::oct << static_cast<int>(status.permissions()) << ' '
             << std::string(std::istreambuf_iterator<char>(file), {});
        found[entry.path().lexically_relative(dir).string()] =
            text.str() + (entry.is_symlink() ? fs::read_symlink(entry.path()).string() : "");
    }
    return found;
}

TEST(Extracting, WritesThroughLinksThatStayInsideAndRemovesNothing) {
    const TemporaryDirectory dir;
    for (const char* path : {"trap/file", "trap/twin", "trap/other", "dest/real/deep/file", "dest/kept"}) {
        fs::permissions(dir.write(path, "old"), fs::perms{0640});
    }
    const struct {
        std::string link;
        std::string target;
        std::string name;
        std::string written;  ///< ""; skipped
    } cases[] = {
        {"in", "real", "in/f", "real/f"},
        {"file", "real/deep/file", "file", "real/deep/file"},
        {"new", "real/new", "new", "real/new"},
        {"chain", "new", "chain", "real/new"},
        {"deep", "real/deep", "deep/../g", "real/g"},
        {"deeper", "real/deep", "deeper/../../h", "h"},
        {"back", "../dest/real", "back/i", "real/i"},
        {"to twin", "twin", "to twin", "twin"},
        {"", "", "other", "other"},
        {"", "", "kept", "kept"},
        {"", "", "real", ""},
        {"", "", std::string(300, 'n'), ""},
        {"", "", "pipe", ""},
        {"", "", "socket", ""},
        {"to pipe", "pipe", "to pipe", ""},
        {"out", "../trap", "out/file", ""},
        {"away", "../trap/file", "away", ""},
        {"lost", "../trap/lost", "lost", ""},
        {"absolute", dir / "trap/lost", "absolute", ""},
        {"loop", "loop", "loop", ""},
        {"nowhere", "no/directory", "nowhere", ""},
        {"slash", "real/none/", "slash", ""},
        {"self", ".", "self/../trap/f", ""},
        {"out again", "../trap", "out again/../dest/f", ""},
    };
    for (const auto& c : cases) {
        if (!c.link.empty()) {
            fs::create_symlink(c.target, dir / ("dest/" + c.link));
        }
    }
    fs::create_hard_link(dir / "trap/twin", dir / "dest/twin");
    fs::create_hard_link(dir / "trap/other", dir / "dest/other");
    ASSERT_EQ(mknod((dir / "dest/pipe").c_str(), S_IFIFO | 0600, 0), 0);
    ASSERT_EQ(mknod((dir / "dest/socket").c_str(), S_IFSOCK | 0600, 0), 0);
    const mode_t before = umask(022);
    for (const auto& c : cases) {
        auto expected = describedTree(dir.path());
        if (!c.written.empty()) {
            std::string& file = expected["dest/" + c.written];
            file = (file.empty() ? "1 644 " : file.substr(0, 6)) + c.name;
        }
        Package package;
        package.with(c.name, c.name);
        EXPECT_EQ(failureOf([&] { package.extract(dir / "dest", ""); }), "") << c.name;
        EXPECT_EQ(describedTree(dir.path()), expected) << c.name;
    }
    umask(before);
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

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::PackageWriter;
using stream::WriteOptions;
using testing::ElementsAre;
using Strings = std::vector<std::string>;

/// "PATH MODE TIME", with the target of a link.
Strings shown(const PackageWriter& writer, const WriteOptions& options = datedOptions()) {
    Strings lines;
    for (const Entry& entry : writer.plan(options)) {
        std::array<char, 32> numbers{};
        std::snprintf(numbers.data(), numbers.size(), " %o %ld", entry.mode, static_cast<long>(entry.mtime));
        lines.push_back(entry.path + numbers.data() + (entry.linkTarget.empty() ? "" : " " + entry.linkTarget));
    }
    return lines;
}

Strings paths(const PackageWriter& writer) {
    Strings paths;
    for (const Entry& entry : writer.plan()) {
        paths.push_back(entry.path);
    }
    return paths;
}

TEST(Plan, SortsDirectoriesBeforeWhatIsBelowThemAndAddsMissingOnes) {
    PackageWriter writer;
    for (const char* path : {"b", "/a/b/c/d", "./a-b", "a/b-c", "a.b", "a/b/\xff", "a/b/c//e", "./a/./b0"}) {
        writer.addBytes("", path, {0600, 5});
    }
    writer.addSymlink("../b", "a/b/a", {0644, 7});
    writer.addDirectory("a/b/c", {0700, {}});
    EXPECT_THAT(shown(writer),
                ElementsAre("./ 755 7", "./a/ 755 7", "./a/b/ 755 7", "./a/b/a 777 7 ../b", "./a/b/c/ 700 7",
                            "./a/b/c/d 600 5", "./a/b/c/e 600 5", "./a/b/\xff 600 5", "./a/b-c 600 5",
                            "./a/b0 600 5", "./a-b 600 5", "./a.b 600 5", "./b 600 5"));
}

TEST(Plan, TakesTimesFromDiskAndSetsLateAndImpossibleOnesBack) {
    const TemporaryDirectory folder;
    const std::string file = folder.write("file", "");
    PackageWriter writer;
    chmod(file.c_str(), 0644);
    const timespec times[] = {{500, 0}, {500, 999999999}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    writer.addFile(file, "disk");
    writer.addBytes("", "unset");
    EXPECT_THAT(shown(writer), ElementsAre("./ 755 500", "./disk 644 500", "./unset 644 500"));
    writer.addBytes("", "ancient", {0644, -1});
    writer.addBytes("", "late", {0644, std::int64_t{1} << 40});
    const struct {
        std::optional<std::int64_t> latest;
        const char* environment;
        long newest;
    } cases[] = {
        {{}, nullptr, 077777777777}, {600, nullptr, 600}, {{}, "700", 700}, {600, "700", 600}, {-5, "x", 0}};
    for (const auto& c : cases) {
        c.environment != nullptr ? setenv("SOURCE_DATE_EPOCH", c.environment, 1) : unsetenv("SOURCE_DATE_EPOCH");
        WriteOptions options;
        options.latestTime = c.latest;
        const std::string newest = std::to_string(c.newest);
        const std::string disk = std::to_string(std::min(c.newest, 500L));
        EXPECT_THAT(shown(writer, options),
                    ElementsAre("./ 755 " + newest, "./ancient 644 0", "./disk 644 " + disk,
                                "./late 644 " + newest, "./unset 644 " + newest));
    }
    for (const char* text : {"", "x", "12x", " 12", "99999999999999999999"}) {
        setenv("SOURCE_DATE_EPOCH", text, 1);
        EXPECT_EQ(failureOf([&] { writer.plan(); }),
                  std::string("SOURCE_DATE_EPOCH: \"") + text + "\" is no number of seconds");
    }
    unsetenv("SOURCE_DATE_EPOCH");
}

TEST(Plan, TheLastMatchingPatternSetsTheModeOfFilesAndDirectories) {
    PackageWriter writer;
    writer.addBytes("", "bin/caf\xc3\xa9", {04755, {}});
    writer.addSymlink("x", "bin/link");
    writer.setMode("*", 0700);
    writer.setMode("bin/*", 0711);
    writer.setMode("bin/caf[a-z]", 0);   // no byte of the name is in a-z
    writer.setMode("bin/caf??", 06711);  // two bytes
    writer.setMode("./bin/*", 0);        // patterns are held against plain paths
    EXPECT_THAT(shown(writer, datedOptions()),
                ElementsAre("./ 700 1000000000", "./bin/ 700 1000000000", "./bin/caf\xc3\xa9 6711 1000000000",
                            "./bin/link 777 1000000000 x"));
}

TEST(Plan, NamesOfOneFileBecomeHardLinksWithinATreeOnly) {
    const TemporaryDirectory folder;
    const std::string file = folder.write("tree/b", "x");
    for (const char* name : {"tree/c", "tree/a", "outside"}) {
        std::filesystem::create_hard_link(file, folder / name);
    }
    std::filesystem::create_symlink("b", folder / "tree/s1");
    std::filesystem::create_hard_link(folder / "tree/s1", folder / "tree/s2");
    PackageWriter writer = soundWriter();
    writer.addTree(folder / "tree", {"one", {}, false});
    writer.addTree(folder / "tree", {"two", {"b", "./c/", "s1", "s2"}, false});
    writer.addFile(folder / "outside", "single");
    writer.setMode("one/c", 0600);  // one file, one mode: it counts for all names
    std::string links;
    for (const Entry& entry : writer.plan()) {
        links += entry.path + (entry.linkTarget.empty() ? "\n" : " " + entry.linkTarget + "\n");
        if (entry.path.size() == 7 && entry.path.compare(0, 6, "./one/") == 0) {
            EXPECT_EQ(entry.mode, 0600U) << entry.path;
        }
    }
    EXPECT_EQ(links,
              "./\n./one/\n./one/a\n./one/b ./one/a\n./one/c ./one/a\n./one/s1 b\n./one/s2 b\n./single\n"
              "./two/\n./two/a\n");
    folder.write("tool.bex", written(writer, folder));
    EXPECT_EQ(outputOf("dpkg-deb --fsys-tarfile " + (folder / "tool.bex") + " | tar -xO ./one/a ./single ./two/a"),
              "xxx");
}

TEST(Plan, RefusesPathsAndPairsThatOnePackageCantHold) {
    const TemporaryDirectory folder;
    const std::string file = folder.write("file", "");
    const std::string tree = folder / "tree";
    folder.write("tree/usr/bin/x", "");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    using Step = std::function<void(PackageWriter&)>;
    const struct {
        Step add;
        std::string message;
    } cases[] = {
        {[&](auto& w) { w.addFile(file, "a/../b"); }, "\"a/../b\": a path in a package can't hold \"..\""},
        {[&](auto& w) { w.addFile(file, ".."); }, "\"..\": a path in a package can't hold \"..\""},
        {[&](auto& w) { w.addDirectory("../x"); }, "\"../x\": a path in a package can't hold \"..\""},
        {[&](auto& w) { w.addBytes("", "a\nb"); }, "\"a\\nb\": a path in a package can't hold a newline"},
        {[&](auto& w) { w.addSymlink("x", std::string("a\0b", 3)); },
         "\"a\\x00b\": a path in a package can't hold a NUL"},
        {[&](auto& w) { w.addFile(file, "./"); }, "\"./\": names a directory, not a file"},
        {[&](auto& w) { w.addBytes("", "a/"); }, "\"a/\": names a directory, not a file"},
        {[&](auto& w) { w.addSymlink("", "a"); }, "\"a\": a symlink's target can't be empty or hold a NUL"},
        {[&](auto& w) {
             w.addTree(tree, {"a/..", {}, false});
         },
         "\"a/..\": a path in a package can't hold \"..\""},
        {[&](auto& w) { w.addFile(folder / "fifo", "a"); }, folder / "fifo: is no regular file or symlink"},
        {[&](auto& w) { w.addFile(folder / "none", "a"); },
         folder / "none: can't read its attributes: No such file or directory"},
        {[&](auto& w) { w.addTree(file); }, file + ": can't open the directory: Not a directory"},
        {[&](auto& w) {
             w.addTree(tree);
             w.addFile(file, "/usr/bin/x");
         },
         file + ": ./usr/bin/x: the path is taken by " + tree + "/usr/bin/x"},
        {[&](auto& w) {
             w.addTree(tree);
             w.addSymlink("lib", "usr/bin");
         },
         "what was added from memory: ./usr/bin: the path is taken by " + tree + "/usr/bin"},
        {[&](auto& w) {
             w.addTree(tree);
             w.addFile(file, "usr");
         },
         file + ": ./usr: the path is taken by " + tree + "/usr"},
        {[&](auto& w) {
             w.addFile(file, "usr/bin/x/y/z");
             w.addTree(tree);
         },
         file + ": ./usr/bin/x/y/z: needs a directory where ./usr/bin/x from " + tree + "/usr/bin/x stands"},
        {[&](auto& w) { w.addConffile("etc/none"); },
         "conffiles: \"/etc/none\" is no regular file of the package"},
        {[&](auto& w) {
             w.addTree(tree);
             w.addRemovedConffile("usr/bin/x");
         },
         "conffiles: \"/usr/bin/x\" is to be removed on upgrade, but the package has it"},
        {[&](auto& w) { w.addFile(tree, "a", {}); }, tree + ": is no regular file or symlink"},
        {[&](auto& w) {
             std::filesystem::create_symlink("x", folder / "link");
             w.addFile(folder / "link", "a", {});
         },
         folder / "link: is no regular file"},
        {[&](auto& w) {
             w.addTree(tree);
             w.addConffile("usr/bin");
         },
         "conffiles: \"/usr/bin\" is no regular file of the package"},
    };
    for (const auto& c : cases) {
        PackageWriter writer;
        EXPECT_EQ(failureOf([&] {
                      c.add(writer);
                      writer.plan();
                  }),
                  c.message);
    }
}

TEST(Plan, LaterDirectoriesReplaceEarlierOnes) {
    const TemporaryDirectory folder;
    folder.write("tree/var/x", "");
    PackageWriter writer;
    writer.addDirectory("var/y", {0711, 1});
    writer.addTree(folder / "tree");
    std::filesystem::create_directory_symlink("tree", folder / "alias");  // followed, as nothing below it is
    writer.addTree(folder / "alias", {"", {"var/x"}, false});
    writer.addDirectory("var", {02770, 3});
    EXPECT_THAT(paths(writer), ElementsAre("./", "./var/", "./var/x", "./var/y/"));
    EXPECT_EQ(shown(writer)[1], "./var/ 2770 3");
}

TEST(Plan, SpecialFilesAndNewlinesEndAScanAndLeaveNothingOfIt) {
    const TemporaryDirectory folder;
    const struct {
        std::string name;
        std::function<void(const std::string&)> make;
        std::string message;
    } cases[] = {
        {"fifo", [](const std::string& path) { mkfifo(path.c_str(), 0600); },
         "is a FIFO, which a package can't hold"},
        {"socket",
         [](const std::string& path) {
             sockaddr_un address{};
             address.sun_family = AF_UNIX;
             path.copy(address.sun_path, sizeof address.sun_path - 1);
             const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
             bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
             close(socket);
         },
         "is a socket, which a package can't hold"},
        {"a\nb", [](const std::string& path) { std::filesystem::create_directory(path); },
         "a path in a package can't hold a newline"},
    };
    for (const auto& c : cases) {
        folder.write("tree/sub/file", "");
        c.make(folder / "tree/sub/" + c.name);
        PackageWriter writer;
        const std::string shownName = c.name == "a\nb" ? "a\\nb" : c.name;
        EXPECT_EQ(failureOf([&] { writer.addTree(folder / "tree"); }),
                  folder / "tree/sub/" + shownName + ": " + c.message);
        EXPECT_THAT(paths(writer), ElementsAre("./"));
        const bool isSpecial = c.name != shownName;
        writer.addTree(folder / "tree", {"", isSpecial ? Strings{"sub/" + c.name} : Strings{}, true});
        EXPECT_THAT(paths(writer), ElementsAre("./", "./sub/", "./sub/file"));
        std::filesystem::remove_all(folder / "tree");
    }
}

TEST(Plan, PathsMayBeLongerThanTheSystemTakesAtOnce) {
    const TemporaryDirectory folder;
    const std::string name(200, 'd');
    outputOf("cd " + folder.path().string() + " && mkdir tree && cd tree && for i in $(seq 30); do mkdir " + name +
             " && cd -P " + name + "; done && echo deep > file");
    PackageWriter writer = soundWriter();
    writer.addTree(folder / "tree");
    folder.write("tool.bex", written(writer, folder));
    EXPECT_EQ(outputOf("dpkg-deb --fsys-tarfile " + (folder / "tool.bex") + " | tar -xO --wildcards '*/file'"),
              "deep\n");
    outputOf("rm -r " + folder / "tree");
}

/// Claims other owners than the disk has.
class ForeignOwners : public stream::System {
public:
    int fstatat(int folder, const char* path, struct stat* result, int flags) override {
        const int failed = System::fstatat(folder, path, result, flags);
        result->st_uid = path == std::string("big") ? 3000000000U : 0;
        result->st_gid = 2097152;
        return failed;
    }
};

TEST(Plan, OwnersAreRootUnlessKept) {
    const TemporaryDirectory folder;
    folder.write("tree/big", "");
    folder.write("tree/small", "");
    ForeignOwners system;
    PackageWriter writer = soundWriter(system);
    writer.addTree(folder / "tree");
    writer.addBytes("", "memory");
    for (const auto& [keep, expected] :
         {std::pair(false, "0/0 ./big\n0/0 ./memory\n0/0 ./small\n"),
          std::pair(true, "3000000000/2097152 ./big\n0/0 ./memory\n0/2097152 ./small\n")}) {
        WriteOptions options = datedOptions();
        options.keepOwner = keep;
        folder.write("tool.bex", written(writer, folder, options));
        EXPECT_EQ(outputOf("dpkg-deb --fsys-tarfile " + (folder / "tool.bex") +
                           " | tar --numeric-owner -tv | awk 'NR > 1 { print $2, $6 }'"),
                  expected);
        EXPECT_EQ(writer.plan(options).back().owner, "root");
        EXPECT_EQ(writer.plan(options)[1].owner, keep ? "" : "root");
    }
}

}  // namespace
}  // namespace bex::test

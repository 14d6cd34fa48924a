#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "Archives.hpp"
#include "Failure.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::PackageWriter;
using stream::WriteOptions;
using testing::ElementsAre;

/// "PATH MODE TIME", the mode in octal.
std::vector<std::string> shown(const PackageWriter& writer, const WriteOptions& options) {
    std::vector<std::string> lines;
    for (const stream::Entry& entry : writer.plan(options)) {
        std::ostringstream line;
        line << entry.path << std::oct << ' ' << entry.mode << std::dec << ' ' << entry.mtime;
        lines.push_back(line.str());
    }
    return lines;
}

TEST(Plan, TheCallersLatestTimeCountsBeforeTheEnvironments) {
    PackageWriter writer;
    writer.addBytes("", "late", {0644, 900});
    setenv("SOURCE_DATE_EPOCH", "700", 1);
    WriteOptions options;
    EXPECT_THAT(shown(writer, options), ElementsAre("./ 755 700", "./late 644 700"));
    for (const std::int64_t latest : {600, -5}) {
        options.latestTime = latest;
        const std::string newest = std::to_string(std::max<std::int64_t>(latest, 0));
        EXPECT_THAT(shown(writer, options), ElementsAre("./ 755 " + newest, "./late 644 " + newest));
    }
    unsetenv("SOURCE_DATE_EPOCH");
}

TEST(Plan, LaterDirectoriesReplaceEarlierOnesAndWhatIsExcludedStaysOut) {
    const TemporaryDirectory folder;
    folder.write("tree/var/x", "");
    chmod(folder.write("tree/var/z", "").c_str(), 0600);
    std::filesystem::create_directory_symlink("tree", folder / "alias");  // followed, as nothing below it is
    PackageWriter writer;
    writer.addTree(folder / "alias", {"", {"./var//x/"}, false});
    writer.addTree(folder / "tree", {"", {"/*/[x]", "var/z"}, false});
    // A filter sees attributes and paths of the tree, and no directory that it refuses is read.
    std::vector<std::string> met;
    const auto refuse = [&](const stream::Entry& entry) {
        met.push_back(entry.path + ' ' + octal(entry.mode, 4));
        return false;
    };
    chmod((folder / "tree/var").c_str(), 0700);
    writer.addTree(folder / "tree", {"var/y", {}, false, refuse});
    EXPECT_THAT(met, ElementsAre("./var/ 0700"));
    writer.addDirectory("/var/y", {0711, 1});
    writer.addDirectory("var", {02770, 3});
    WriteOptions options;
    options.latestTime = 3;
    EXPECT_THAT(shown(writer, options),
                ElementsAre("./ 755 3", "./var/ 2770 3", "./var/y/ 711 1", "./var/z 600 3"));
}

TEST(Plan, PatternsAreHeldAgainstBytesInEveryLocale) {
    PackageWriter writer;
    writer.addBytes("", "caf\xc3\xa9", {0644, 5});
    writer.setMode("caf??", 04711);
    std::setlocale(LC_ALL, "C.UTF-8");
    const auto lines = shown(writer, datedOptions());
    std::setlocale(LC_ALL, "C");
    EXPECT_THAT(lines, ElementsAre("./ 755 5", "./caf\xc3\xa9 4711 5"));
    writer.setMode("caf?", 0);
    EXPECT_THAT(failureOf([&] { writer.plan(); }), testing::HasSubstr("\"caf?\""));
}

TEST(Plan, PatternsTakeEverySpellingAndMustMatchSomething) {
    const struct {
        const char* pattern;
        const char* expected;
    } cases[] = {{"etc/x.d/", "./etc/x.d/ 600 5"},
                 {"/etc/x.d", "./etc/x.d/ 600 5"},
                 {"./etc//x?d", "./etc/x.d/ 600 5"},
                 {"./etc/[id]", "./etc/[id] 600 5"},
                 {"/", "./ 600 5"},
                 {"etc/s", ""},
                 {"etc/y", ""}};
    for (const auto& [pattern, expected] : cases) {
        PackageWriter ruled;
        ruled.addDirectory("etc/x.d", {0755, 5});
        ruled.addBytes("", "etc/[id]", {0644, 5});
        ruled.addSymlink("x", "etc/s", {0644, 5});
        ruled.setMode(pattern, 0600);
        std::vector<std::string> lines;
        const std::string failure = failureOf([&] { lines = shown(ruled, datedOptions()); });
        EXPECT_EQ(failure, *expected != '\0' ? ""
                                             : "the mode of \"" + std::string(pattern) +
                                                   "\": no file or directory of the package matches");
        EXPECT_EQ(std::count(lines.begin(), lines.end(), expected), *expected != '\0' ? 1 : 0) << pattern;
    }
}

TEST(Plan, RefusesWhatOnePackageCantHold) {
    const TemporaryDirectory folder;
    folder.write("tree/usr/bin/x", "");
    const std::string tree = folder / "tree";
    ASSERT_EQ(mkfifo((tree + "/usr/pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("x", folder / "link");
    const stream::TreeOptions unlessSpecial{"", {}, true};
    const stream::Attributes noMode{01000644, {}};
    const stream::Attributes noOwner{0644, {}, 0, 0, "a\nb", ""};
    const stream::Attributes noNumber{0644, {}, 0, 4294967295U};
    const std::string nul("a\0b", 3);
    const struct {
        std::function<void(PackageWriter&)> add;
        std::string message;
    } cases[] = {
        {[](auto& w) { w.addDirectory("../x"); }, "\"../x\": a path in a package can't hold \"..\""},
        {[&](auto& w) { w.addSymlink("x", nul); }, "\"a\\x00b\": a path in a package can't hold a NUL"},
        {[](auto& w) { w.addSymlink("", "a"); },
         "\"a\": a symlink's target can't be empty, hold a NUL or have more than 4095 bytes"},
        {[](auto& w) { w.addSymlink(std::string(4096, 'n'), "a"); },
         "\"a\": a symlink's target can't be empty, hold a NUL or have more than 4095 bytes"},
        {[&](auto& w) { w.addFile(tree, "a", {}); }, tree + ": is not a regular file"},
        {[&](auto& w) {
             w.addSymlink("lib", "usr/bin");
             w.addTree(tree, unlessSpecial);
         },
         tree + "/usr/bin: ./usr/bin/: the path is already used by contents from memory"},
        {[](auto& w) { w.setMode("*", 010000); }, "\"*\": mode with more than 07777"},
        {[&](auto& w) { w.addBytes("", "x", noMode); }, "\"x\": mode with more than 07777"},
        {[&](auto& w) { w.addBytes("", "x", noNumber); }, "\"x\": owner or group beyond 4294967294"},
        {[&](auto& w) { w.addBytes("", "x", noOwner); },
         "\"x\": owner or group \"a\\nb\" has a NUL, a newline or more than 31 bytes"},
        {[&](auto& w) { w.addTree(tree); }, tree + "/usr/pipe: is a FIFO, which a package can't hold"},
    };
    for (const auto& c : cases) {
        PackageWriter writer;
        const auto add = [&] {
            c.add(writer);
            writer.plan();
        };
        EXPECT_EQ(failureOf(add), c.message);
    }
    PackageWriter writer;
    EXPECT_NE(failureOf([&] { writer.addTree(tree); }), "");
    EXPECT_THAT(shown(writer, datedOptions()), ElementsAre("./ 755 1000000000")) << "nothing is left of the scan";
}

TEST(Plan, NeitherATreesEntriesNorItsFirstErrorDependOnTheThreads) {
    const TemporaryDirectory folder;
    for (int i = 0; i < 400; ++i) {
        const std::string name = "tree/" + std::to_string(i % 40) + "/x/" + std::to_string(i);
        folder.write(name, "");
    }
    const auto planned = [&](unsigned threads) {
        PackageWriter writer;
        stream::TreeOptions options;
        options.threads = threads;
        writer.addTree(folder / "tree", options);
        return shown(writer, datedOptions());
    };
    const std::vector<std::string> expected = planned(1);
    ASSERT_EQ(expected.size(), 1U + 40 + 40 + 400);
    EXPECT_EQ(planned(2), expected);
    EXPECT_EQ(planned(16), expected);

    // Of two faults in one directory, and of those in several, the one that one thread meets first.
    for (const std::string number : {"3", "17", "31"}) {
        ASSERT_EQ(mkfifo((folder / ("tree/" + number + "/x/pipe")).c_str(), 0600), 0);
        folder.write("tree/" + number + "/x/new\nline", "");
    }
    const std::string failure = failureOf([&] { planned(1); });
    EXPECT_NE(failure, "");
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(failureOf([&] { planned(16); }), failure);
    }
}

TEST(Plan, ModesNeedNotDependOnTheUmask) {
    const TemporaryDirectory folder;
    chmod(folder.write("tree/d/tool", "").c_str(), 04775);
    chmod(folder.write("tree/d/data", "").c_str(), 0600);
    chmod((folder / "tree/d").c_str(), 02770);
    chmod((folder / "tree").c_str(), 0700);
    for (const bool normal : {false, true}) {
        PackageWriter writer;
        writer.addTree(folder / "tree");
        writer.addTree(folder / "tree", {"kept", {"d"}, false, nullptr, true});
        writer.addFile(folder / "tree/d/data", "given", {0640, 5});
        writer.setMode("d/data", 0606);
        WriteOptions options = datedOptions();
        options.latestTime = 5;
        options.normalizeModes = normal;
        const std::vector<std::string> lines = shown(writer, options);
        const std::vector<std::string> own = {"./ 755 5",        "./d/ 2770 5",   "./d/data 606 5",
                                              "./d/tool 4775 5", "./given 640 5", "./kept/ 700 5"};
        const std::vector<std::string> plain = {"./ 755 5",        "./d/ 2755 5",   "./d/data 606 5",
                                                "./d/tool 4755 5", "./given 640 5", "./kept/ 755 5"};
        EXPECT_EQ(lines, normal ? plain : own);
    }
}

/// Claims other owners than the disk has.
class ForeignOwners : public stream::System {
public:
    int fstatat(int folder, const char* path, struct stat* result, int flags) override {
        const int failed = System::fstatat(folder, path, result, flags);
        claim(path == std::string("big"), *result);
        return failed;
    }
    int fstat(int descriptor, struct stat* result) override {
        const int failed = System::fstat(descriptor, result);
        claim(result->st_size == 3, *result);
        return failed;
    }

private:
    static void claim(bool big, struct stat& status) {
        status.st_uid = big ? 3000000000U : 0;
        status.st_gid = 2097152;
    }
};

TEST(Plan, OwnersAreRootUnlessKept) {
    const TemporaryDirectory folder;
    folder.write("tree/big", "big");
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

TEST(Plan, OwnersByRuleWinOverAllOthersAndAFileHasOne) {
    PackageWriter writer;
    writer.addBytes("", "a/file", {0644, {}, 3, 3, "given", "given"});
    writer.addHardlink("a/file", "b/link");
    writer.addSymlink("x", "a/symlink");
    writer.setOwner("/a", {1, 2, "site", ""});
    writer.setOwner("b/link", {0, 7, "last", "games"});
    writer.setOwner("a/[sf]*", {});
    std::vector<std::string> lines;
    for (const stream::Entry& entry : writer.plan()) {
        lines.push_back(entry.path + ' ' + std::to_string(entry.uid) + ':' + std::to_string(entry.gid) + ' ' +
                        entry.owner + ':' + entry.group);
    }
    EXPECT_THAT(lines, ElementsAre("./ 0:0 root:root", "./a/ 1:2 site:", "./a/file 0:0 root:root",
                                   "./a/symlink 0:0 root:root", "./b/ 0:0 root:root", "./b/link 0:0 root:root"));
    writer.setOwner("a/file", {9, 9, "", ""});
    EXPECT_EQ(writer.plan().back().uid, 9U);
}

}  // namespace
}  // namespace bex::test

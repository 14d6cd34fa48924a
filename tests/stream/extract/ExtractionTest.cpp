#include "stream/extract/Extraction.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/extract/Unpacking.hpp"
#include "stream/system/Surroundings.hpp"

namespace {

using namespace bex::test;
using namespace bex::test::unpacking;
using bex::stream::Extraction;
using bex::stream::ExtractOptions;
using bex::stream::System;
using testing::ElementsAre;

struct stat statusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

TEST(Extraction, MakesTheTreeWithModesAndTimes) {
    const RemovableDirectory folder;
    const std::string destination = folder / "made";
    const mode_t umaskBefore = umask(022);
    unpack(destination,
           {directory("./", 0711), directory("./a/", 0500), file("./a/empty", "", 0), file("./a/f", "bytes", 0751),
            symlinkTo("./a/s", "../nowhere"), hardlinkTo("./a/h", "./a/f"), file("./b/c/implied", "x"),
            directory("./b/", 01777), directory("./a/", 0550)});
    umask(umaskBefore);
    EXPECT_EQ(treeBelow(destination), (Tree{{"a", "d 0550"},
                                            {"a/empty", "f 0000 "},
                                            {"a/f", "f 0751 bytes"},
                                            {"a/h", "f 0751 bytes"},
                                            {"a/s", "l ../nowhere"},
                                            {"b", "d 1777"},
                                            {"b/c", "d 0755"},
                                            {"b/c/implied", "f 0644 x"}}));
    EXPECT_EQ(describe(destination), "d 0711");
    EXPECT_EQ(statusOf(destination + "/a/f").st_ino, statusOf(destination + "/a/h").st_ino);
    for (const char* name : {"", "/a", "/a/empty", "/a/f", "/a/s", "/b", "/b/c/implied"}) {
        EXPECT_EQ(statusOf(destination + name).st_mtim.tv_sec, kItemTime) << name;
        EXPECT_EQ(statusOf(destination + name).st_mtim.tv_nsec, 0) << name;
    }
}

TEST(Extraction, TakesTheDestinationThatTheCallerNames) {
    const TemporaryDirectory folder;
    folder.write("file", "x");
    std::filesystem::create_directory_symlink("real", folder / "link");
    const auto unpackTo = [&](const std::string& name) {
        return failureOf([&] { unpack(folder / name, {file("f", "x")}); });
    };
    EXPECT_EQ(unpackTo("none/n\n"),
              "p: " + (folder / "none/n\\n") + ": can't create the destination: No such file or directory");
    EXPECT_EQ(unpackTo("file"), "p: " + (folder / "file") + ": can't open the destination: Not a directory");
    EXPECT_EQ(unpackTo("link"),
              "p: " + (folder / "link") + ": can't open the destination: No such file or directory");
    EXPECT_EQ(unpackTo("real/"), "");
    EXPECT_EQ(unpackTo("link"), "");
    EXPECT_EQ(treeBelow(folder / "real"), (Tree{{"f", "f 0644 x"}}));
}

TEST(Extraction, LeavesAnExistingDestinationsOwnAttributesAlone) {
    const TemporaryDirectory folder;
    const std::string before = describe(folder / "");
    unpack(folder / "", {directory("./", 0711), file("./f", "x")});
    EXPECT_EQ(describe(folder / ""), before);
    EXPECT_NE(statusOf(folder / "").st_mtim.tv_sec, kItemTime);
}

TEST(Extraction, AsksTheSystemForNoMoreThanASmallFileNeeds) {
    const TemporaryDirectory folder;
    FailingSystem system;
    ExtractOptions options;
    options.sameOwner = geteuid() == 0;
    Extraction extraction(folder / "", "p", options, system);
    for (const char* name : {"./a/first", "./a/second"}) {
        system.clearLog();
        extraction.begin(file(name, "").entry, bex::stream::plainPath(name), "");
        extraction.write("x", 1);
        extraction.end();
    }
    std::vector<std::string> calls = system.log();
    calls.erase(std::remove(calls.begin(), calls.end(), "fchown"), calls.end());
    EXPECT_THAT(calls, ElementsAre("openat", "write", "fchmod", "futimens", "close"));
    EXPECT_EQ(system.count("fchown"), options.sameOwner ? 1 : 0);
}

TEST(Extraction, ReplacesWhatIsNoDirectoryWithoutWritingToIt) {
    const struct {
        const char* existing;  ///< kind of what stands under "x"
        Item item;
        const char* result;
        const char* failure;
    } cases[] = {
        {"file", file("x", "new", 0600), "f 0600 new", ""},
        {"symlink", file("x", "new"), "f 0644 new", ""},
        {"fifo", file("x", "new"), "f 0644 new", ""},
        {"directory", file("x", "new"), "d 0700", "p: x: can't replace: Is a directory"},
        {"file", symlinkTo("x", "t"), "l t", ""},
        {"symlink", symlinkTo("x", "t"), "l t", ""},
        {"fifo", symlinkTo("x", "t"), "l t", ""},
        {"directory", symlinkTo("x", "t"), "d 0700", "p: x: can't replace: Is a directory"},
        {"file", hardlinkTo("x", "t"), "f 0644 target", ""},
        {"link of t", hardlinkTo("x", "t"), "f 0644 target", ""},
        {"symlink", hardlinkTo("x", "t"), "f 0644 target", ""},
        {"fifo", hardlinkTo("x", "t"), "f 0644 target", ""},
        {"directory", hardlinkTo("x", "t"), "d 0700", "p: x: can't replace: Is a directory"},
        {"file", directory("x/", 0750), "d 0750", ""},
        {"symlink", directory("x/", 0750), "d 0750", ""},
        {"fifo", directory("x/", 0750), "d 0750", ""},
        {"directory", directory("x/", 0750), "d 0750", ""},
    };
    for (const auto& c : cases) {
        for (const bool keep : {false, true}) {
            SCOPED_TRACE(std::string(c.existing) + " by " + c.result + (keep ? ", kept" : ""));
            const TemporaryDirectory folder;
            const std::string name = folder / "d/x";
            const std::string kind = c.existing;
            folder.write("other name", "old");
            folder.write("d/t", "target");
            chmod((folder / "d/t").c_str(), 0644);
            if (kind == "file") {
                std::filesystem::create_hard_link(folder / "other name", name);
            } else if (kind == "symlink") {
                std::filesystem::create_symlink("../other name", name);
            } else if (kind == "fifo") {
                ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
            } else if (kind == "directory") {
                ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
            } else {
                std::filesystem::create_hard_link(folder / "d/t", name);
            }
            const std::string before = describe(name);
            ExtractOptions options;
            options.keepExisting = keep;
            const std::string failure = failureOf([&] { unpack(folder / "d", {c.item}, options); });
            const bool fails =
                keep && !(kind == "directory" && c.item.entry.type == bex::stream::EntryType::directory);
            EXPECT_EQ(failure, fails ? "p: " + c.item.entry.path + ": can't create: File exists" : c.failure);
            EXPECT_EQ(describe(name), fails ? before : c.result);
            EXPECT_EQ(folder.read("other name"), "old");
            EXPECT_THAT(namesBelow(folder / "d"), ElementsAre("t", "x"));
        }
    }
}

TEST(Extraction, KeepsTheOldFileUntilTheNewOneIsWhole) {
    for (const bool exists : {true, false}) {
        const TemporaryDirectory folder;
        if (exists) {
            folder.write("x", "old");
        }
        const Tree before = treeBelow(folder.path());
        {
            Extraction extraction(folder / "", "p", {}, System::real());
            extraction.begin(file("x", "").entry, "x", "");
            extraction.write("new", 3);
            EXPECT_EQ(exists ? folder.read("x") : "old", "old");
        }
        EXPECT_EQ(treeBelow(folder.path()), before);
    }
}

TEST(Extraction, NoticesADirectoryInTheWayBeforeAnythingIsWritten) {
    const TemporaryDirectory folder;
    folder.write("d/x", "old");
    Extraction extraction(folder / "", "p", {}, System::real());
    extraction.begin(file("a/given up", "").entry, "a/given up", "");
    EXPECT_EQ(failureOf([&] { extraction.begin(file("d", "").entry, "d", ""); }),
              "p: d: can't replace: Is a directory");
    EXPECT_THAT(namesBelow(folder.path()), ElementsAre("a", "d", "d/x"));
}

TEST(Extraction, RestoresOwnersAndSetIdBitsOnlyWhenAsked) {
    const TemporaryDirectory folder;
    for (const bool asked : {false, true}) {
        ExtractOptions options;
        options.sameOwner = asked && geteuid() == 0;
        options.keepSetId = asked;
        std::vector<Item> items = {directory("d/", 03775), file("d/f", "x", 06755), symlinkTo("d/s", "f")};
        for (Item& i : items) {
            i.entry.uid = 1234;
            i.entry.gid = 4321;
        }
        unpack(folder / "to", items, options);
        EXPECT_EQ(describe(folder / "to/d"), asked ? "d 3775" : "d 1775");
        EXPECT_EQ(describe(folder / "to/d/f"), asked ? "f 6755 x" : "f 0755 x");
        for (const char* name : {"to/d", "to/d/f", "to/d/s"}) {
            EXPECT_EQ(statusOf(folder / name).st_uid, options.sameOwner ? 1234 : geteuid()) << name;
            EXPECT_EQ(statusOf(folder / name).st_gid, options.sameOwner ? 4321 : getegid()) << name;
        }
    }
    ExtractOptions sameOwner;
    sameOwner.sameOwner = true;
    for (const std::uint64_t number : {std::uint64_t{0xffffffff}, std::uint64_t{1} << 32}) {
        Item odd = file("odd", "x");
        (number & 1 ? odd.entry.uid : odd.entry.gid) = number;
        EXPECT_EQ(failureOf([&] { unpack(folder / "", {odd}, sameOwner); }),
                  std::string("p: odd: ") + (number & 1 ? "owner " : "group ") + std::to_string(number) +
                      " is out of range");
        EXPECT_EQ(describe(folder / "odd"), "");
    }
}

TEST(Extraction, TakesTimesThatNoFileSystemHoldsForTheNearest) {
    const TemporaryDirectory folder;
    for (const std::int64_t time :
         {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1} << 33, std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::int64_t>::max()}) {
        Item odd = file("odd", "x");
        odd.entry.mtime = time;
        EXPECT_EQ(failureOf([&] { unpack(folder / "", {odd}); }), "") << time;
        if (time >= -1 && time <= std::int64_t{1} << 33) {
            EXPECT_EQ(statusOf(folder / "odd").st_mtim.tv_sec, time);
        }
    }
}

TEST(Extraction, LeavesHolesWithoutStoringThem) {
    const TemporaryDirectory folder;
    Extraction extraction(folder / "", "p", {}, System::real());
    extraction.begin(file("small", "").entry, "small", "");
    extraction.skip(3);
    extraction.write("a", 1);
    extraction.skip(1);
    extraction.skip(1);
    extraction.write("b", 1);
    extraction.skip(2);
    extraction.end();
    EXPECT_EQ(folder.read("small"), std::string("\0\0\0a\0\0b\0\0", 9));
    extraction.begin(file("large", "").entry, "large", "");
    extraction.skip(std::uint64_t{1} << 40);
    extraction.write("end", 3);
    extraction.end();
    EXPECT_EQ(statusOf(folder / "large").st_size, (off_t{1} << 40) + 3);
    EXPECT_LT(statusOf(folder / "large").st_blocks, 1000);
    extraction.begin(file("x", "").entry, "x", "");
    extraction.skip(5);
    EXPECT_EQ(failureOf([&] { extraction.skip(std::numeric_limits<std::uint64_t>::max()); }),
              "p: x: can't leave a hole: File too large");
}

/// Runs the action as an ordinary user, who owns `folder`, in a process of its own, and gives its exit status.
template <typename Action>
int statusAsOrdinaryUser(const TemporaryDirectory& folder, Action action) {
    constexpr uid_t nobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        const bool root = geteuid() == 0;
        const bool ready = !root || (chown(folder.path().c_str(), nobody, nobody) == 0 && setgid(nobody) == 0 &&
                                     setuid(nobody) == 0);
        const std::string failure = ready ? failureOf(action) : "cannot become an ordinary user";
        std::fputs(failure.c_str(), stderr);
        _exit(failure.empty() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST(Extraction, MakesFilesBelowReadOnlyDirectoriesForAnOrdinaryUser) {
    const RemovableDirectory folder;
    const std::vector<Item> items = {directory("a/", 0), directory("a/b/", 0500), file("a/b/f", "x", 0400),
                                     directory("a/b/c/", 0100), file("a/b/c/g", "y", 0)};
    EXPECT_EQ(statusAsOrdinaryUser(folder,
                                   [&] {
                                       unpack(folder / "to", items);
                                       unpack(folder / "to", items);  // over what cannot be read any more
                                   }),
              0);
    if (geteuid() == 0) {
        EXPECT_EQ(treeBelow(folder / "to"), (Tree{{"a", "d 0000"},
                                                  {"a/b", "d 0500"},
                                                  {"a/b/f", "f 0400 x"},
                                                  {"a/b/c", "d 0100"},
                                                  {"a/b/c/g", "f 0000 y"}}));
    }
}

TEST(Extraction, RestoresDirectoriesEvenWhenItIsGivenUp) {
    const TemporaryDirectory folder;
    std::filesystem::create_directories(folder / "old");
    chmod((folder / "old").c_str(), 0500);
    const auto fail = [&] {
        unpack(folder / "", {directory("old/", 0510), directory("new/", 0711), file("..", "")});
    };
    EXPECT_EQ(failureOf(fail), "p: ..: its path leads out of the destination");
    EXPECT_EQ(treeBelow(folder.path()), (Tree{{"new", "d 0711"}, {"old", "d 0510"}}));
}

}  // namespace

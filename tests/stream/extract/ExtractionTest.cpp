#include "stream/extract/Extraction.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
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
using bex::stream::Existing;
using bex::stream::Extraction;
using bex::stream::ExtractOptions;
using testing::ElementsAre;

struct stat statusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

TEST(Extraction, AsksTheSystemForNoMoreThanASmallFileNeeds) {
    const TemporaryDirectory folder;
    FailingSystem system;
    ExtractOptions options;
    options.sameOwner = geteuid() == 0;
    Extraction extraction(folder / "", "p", options, system);
    for (const char* name : {"./a/first", "./a/second"}) {
        system.clearLog();
        std::string_view rest = "x";
        extraction.make(file(name, "").entry, bex::stream::plainPath(name), "", [&rest] {
            return bex::stream::Piece{std::exchange(rest, {}), nullptr};
        });
    }
    std::vector<std::string> calls = system.log();
    calls.erase(std::remove(calls.begin(), calls.end(), "fchown"), calls.end());
    EXPECT_THAT(calls, ElementsAre("openat", "write", "fchmod", "futimens", "close"));
    EXPECT_EQ(system.count("fchown"), options.sameOwner ? 1 : 0);
}

/// Puts one of `kind` under the name.
void putThere(const TemporaryDirectory& folder, const std::string& kind, const std::string& name) {
    if (kind == "symlink") {
        std::filesystem::create_symlink("../other name", name);
    } else if (kind == "fifo") {
        ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    } else if (kind == "directory") {
        ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
    } else {
        std::filesystem::create_hard_link(folder / (kind == "file" ? "other name" : "d/t"), name);
    }
}

TEST(Extraction, ReplacesWhatIsNoDirectoryWithoutWritingToIt) {
    const std::pair<Item, const char*> items[] = {{file("x", "new", 0600), "f 0600 new"},
                                                  {symlinkTo("x", "t"), "l t"},
                                                  {hardlinkTo("x", "t"), "f 0644 target"},
                                                  {directory("x/", 0750), "d 0750"}};
    for (const std::string kind : {"file", "link of t", "symlink", "fifo", "directory"}) {
        for (const auto& [item, result] : items) {
            for (const Existing existing : {Existing::replace, Existing::keep, Existing::error}) {
                SCOPED_TRACE(kind + " by " + result + ", " + std::to_string(static_cast<int>(existing)));
                const TemporaryDirectory folder;
                const std::string name = folder / "d/x";
                folder.write("other name", "old");
                chmod(folder.write("d/t", "target").c_str(), 0644);
                putThere(folder, kind, name);
                const std::string before = describe(name);
                ExtractOptions options;
                options.existing = existing;
                const std::string failure = failureOf([&, i = item] { unpack(folder / "d", {i}, options); });
                const bool isError = existing == Existing::error;
                const bool fits = kind == "directory" ? *result == 'd' : !isError;
                const bool isKept = existing == Existing::keep;
                const std::string reason = isError ? "create: File exists" : "replace: Is a directory";
                EXPECT_EQ(failure, fits || isKept ? "" : "p: " + item.entry.path + ": can't " + reason);
                EXPECT_EQ(describe(name), fits && !isKept ? result : before);
                EXPECT_EQ(folder.read("other name") + folder.read("d/t"), "oldtarget");
                EXPECT_THAT(namesBelow(folder / "d"), ElementsAre("t", "x"));
            }
        }
    }
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

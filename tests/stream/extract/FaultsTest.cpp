#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
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
using bex::stream::Extraction;
using bex::stream::ExtractOptions;
using testing::EndsWith;
using testing::StartsWith;

/// Something old under half of the names that an extraction is to make.
void makeOldTree(const TemporaryDirectory& folder) {
    openUp(folder.path());
    std::filesystem::remove_all(folder / "to");
    folder.write("to/a/old", "old");
    std::filesystem::create_hard_link(folder / "to/a/old", folder / "to/a/oldHard");
    std::filesystem::create_symlink("old", folder / "to/a/oldLink");
    std::filesystem::create_symlink("a", folder / "to/d");
    chmod((folder / "to/a/old").c_str(), 0644);
    chmod((folder / "to/a").c_str(), 0500);
}

/// With parts in two batches where files are made by threads.
const std::string kLarge(300000, 'x');

void unpackOver(const TemporaryDirectory& folder, FailingSystem& system, unsigned threads) {
    ExtractOptions options;
    options.sameOwner = geteuid() == 0;
    unpack(folder / "to",
           {directory("a/", 0550), file("a/new", "new"), file("a/old", "new"), symlinkTo("a/newLink", "new"),
            symlinkTo("a/oldLink", "new"), hardlinkTo("a/newHard", "a/new"), hardlinkTo("a/oldHard", "a/new"),
            file("b/c/f", "new"), file("b/large", kLarge), directory("d/", 0700), directory("e/", 0711)},
           options, system, threads);
}

TEST(ExtractionFaults, LeaveEachNameOldOrNewWhicheverCallFails) {
    const RemovableDirectory folder;
    makeOldTree(folder);
    FailingSystem sound;
    sound.limitTransfers(70000);
    unpackOver(folder, sound, 1);
    const Tree complete = treeBelow(folder / "to");
    ASSERT_EQ(complete.at("a/oldHard"), "f 0644 new");
    const std::size_t descriptors = openDescriptors();

    const struct {
        bool hasOpenat2;
        unsigned threads;
        int error;
    } cases[] = {{true, 1, ENOSPC}, {false, 1, EMFILE}, {true, 4, EIO}};
    for (const auto& [hasOpenat2, threads, error] : cases) {
        std::size_t failures = 0;
        const auto action = [&, hasOpenat2 = hasOpenat2, threads = threads](FailingSystem& system) {
            makeOldTree(folder);
            if (!hasOpenat2) {
                system.failAlways(ENOSYS, "openBeneath");
            }
            unpackOver(folder, system, threads);
        };
        const auto check = [&, error = error](const std::string& failure, const std::string& call) {
            SCOPED_TRACE(call + ": " + failure);
            EXPECT_EQ(openDescriptors(), descriptors);
            const Tree found = treeBelow(folder / "to");
            if (failure.empty()) {
                EXPECT_EQ(found, complete);
                return;
            }
            ++failures;
            EXPECT_THAT(failure, StartsWith("p: "));
            EXPECT_THAT(failure, EndsWith(std::strerror(error)));
            for (const auto& [name, what] : found) {
                const bool isDirectory = what[0] == 'd';  // its mode may be what could not be set
                EXPECT_TRUE(isDirectory || what == complete.at(name) || what == "f 0644 old" || what == "l old" ||
                            what == "l a")
                    << name << ": " << what;
            }
        };
        failEachCall(error, action, check);
        EXPECT_GT(failures, 40U);
    }
}

TEST(ExtractionFaults, NoticesWhatAFileSystemTellsOnlyAtTheClose) {
    const TemporaryDirectory folder;
    folder.write("x", "old");
    FailingSystem quota;
    quota.failAt(1, EDQUOT, "close");
    EXPECT_EQ(failureOf([&] { unpack(folder / "", {file("x", "new")}, {}, quota); }),
              "p: x: can't write: Disk quota exceeded");
    EXPECT_EQ(folder.read("x"), "old");
}

}  // namespace

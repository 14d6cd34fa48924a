#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/extract/Unpacking.hpp"

namespace {

using namespace bex::test;
using namespace bex::test::unpacking;
using bex::stream::EntryType;

/// Makes the kernel one with or without openat2.
void chooseKernel(FailingSystem& system, bool hasOpenat2) {
    if (!hasOpenat2) {
        system.failAlways(ENOSYS, "openBeneath");
    }
}

TEST(Confinement, RefusesWhatLeadsThroughOrToASymlink) {
    const struct {
        std::vector<Item> items;
        const char* failure;
    } cases[] = {
        {{file("out/sub/x", "")}, "p: out/sub/x: its directory \"out\" is a symlink in the destination"},
        {{directory("d/e/"), symlinkTo("d/l", "."), file("d/l/e/x", "")},
         "p: d/l/e/x: its directory \"l\" is a symlink in the destination"},
        {{symlinkTo("l", "l"), hardlinkTo("l/h", "seen")},
         "p: l/h: its directory \"l\" is a symlink in the destination"},
        {{hardlinkTo("h", "out/secret")},
         "p: h: its link target's directory \"out\" is a symlink in the destination"},
        {{hardlinkTo("h", "tosecret")}, "p: h: its link target is not a regular file that was extracted"},
        {{hardlinkTo("h", "none/x")},
         "p: h: its link target's directory \"none\" does not exist in the destination"},
        {{hardlinkTo("h", "a/../../outside/secret")}, "p: h: its link target leads out of the destination"},
        {{file("../outside/x", "")}, "p: ../outside/x: its path leads out of the destination"},
        {{file("fifo/x", "")}, "p: fifo/x: its directory \"fifo\" is not a directory in the destination"},
        {{file("./", "x")}, "p: ./: stands for the destination and is not a directory"},
        {{item(EntryType::fifo, "x\n", 0644)}, "p: x\\n: is neither file, directory nor link"},
        {{symlinkTo("x", std::string("a\0b", 3))}, "p: x: its link target has a NUL"},
        {{file(std::string("x\0y", 3), "")}, "p: x\\x00y: its path leads out of the destination"},
    };
    for (const auto& c : cases) {
        for (const bool hasOpenat2 : {true, false}) {
            SCOPED_TRACE(std::string(c.failure) + (hasOpenat2 ? ", openat2" : ""));
            FailingSystem system;
            chooseKernel(system, hasOpenat2);
            const TemporaryDirectory folder;
            folder.write("outside/secret", "secret");
            std::filesystem::create_directory(folder / "outside/sub");
            folder.write("in/seen", "seen");
            std::filesystem::create_directory_symlink("../outside", folder / "in/out");
            std::filesystem::create_symlink("../outside/secret", folder / "in/tosecret");
            ASSERT_EQ(mkfifo((folder / "in/fifo").c_str(), 0600), 0);
            const Tree outside = treeBelow(folder / "outside");
            EXPECT_EQ(failureOf([&] { unpack(folder / "in", c.items, {}, system); }), c.failure);
            EXPECT_EQ(treeBelow(folder / "outside"), outside);
            EXPECT_EQ(describe(folder / "in/h"), "");
            EXPECT_EQ(describe(folder / "in/x"), "");
        }
    }
}

TEST(Confinement, HoldsWhenAFolderIsSwappedForASymlinkAtAnyCall) {
    const std::vector<Item> items = {directory("a/"),          file("a/f", "new"),      symlinkTo("a/s", "f"),
                                     hardlinkTo("a/h", "a/f"), directory("a/b/", 0700), file("a/b/g", "new"),
                                     file("a/old", "new"),     directory("a/sub/")};
    for (const bool hasOpenat2 : {true, false}) {
        for (std::size_t nth = 1, calls = 1; nth <= calls; ++nth) {
            const TemporaryDirectory folder;
            folder.write("trap/f", "bait");
            folder.write("trap/old", "bait");
            std::filesystem::create_directories(folder / "trap/b");
            folder.write("to/a/old", "old");
            const Tree trap = treeBelow(folder / "trap");
            const auto time = std::filesystem::last_write_time(folder / "trap");
            FailingSystem system;
            chooseKernel(system, hasOpenat2);
            system.watch([&](const std::string&, std::size_t number) {
                if (number == nth) {
                    std::filesystem::rename(folder / "to/a", folder / "moved");
                    std::filesystem::create_directory_symlink("../trap", folder / "to/a");
                }
            });
            const std::string failure = failureOf([&] { unpack(folder / "to", items, {}, system); });
            EXPECT_EQ(treeBelow(folder / "trap"), trap) << "at call " << nth << ": " << failure;
            EXPECT_EQ(std::filesystem::last_write_time(folder / "trap"), time) << "at call " << nth;
            calls = std::max(calls, system.log().size());
        }
    }
}

}  // namespace

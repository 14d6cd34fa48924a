#include "bex/stream/AtomicFile.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/system/Surroundings.hpp"

namespace {

using bex::stream::AtomicFile;
using bex::stream::System;
using bex::test::failEachCall;
using bex::test::FailingSystem;
using bex::test::failureOf;
using bex::test::namesBelow;
using bex::test::openDescriptors;
using bex::test::TemporaryDirectory;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

void replace(const std::string& path, const std::string& bytes, System& system = System::real()) {
    AtomicFile file(path, system);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

/// Where the bytes go until they are committed, by how the system fails to offer better.
struct Way {
    const char* name;
    const char* failingCall;  ///< "" for none
};
constexpr std::array<Way, 2> kWays = {{{"an unnamed file", ""}, {"a named file, as without /proc", "fstat"}}};

void take(const Way& way, FailingSystem& system) {
    system.failAlways(ENOENT, way.failingCall);
}

TEST(AtomicFile, ReplacesOnlyAtCommitAndTakesShortWrites) {
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        const TemporaryDirectory folder;
        const std::string path = folder.write("x", "old");
        FailingSystem system;
        take(way, system);
        system.limitTransfers(2);
        {
            AtomicFile dropped(path, system);
            dropped.write("lost", 4);
        }
        EXPECT_THAT(namesBelow(folder.path()), ElementsAre("x"));
        AtomicFile file(path, system);
        file.write("new ", 4);
        file.write("", 0);
        file.write("bytes", 5);
        std::array<char, 3> back = {};
        EXPECT_EQ(pread(file.descriptor(), back.data(), back.size(), 4), 3);
        EXPECT_EQ(std::string(back.data(), back.size()), "byt");
        EXPECT_EQ(folder.read("x"), "old");
        file.commit();
        EXPECT_EQ(folder.read("x"), "new bytes");
        EXPECT_THAT(namesBelow(folder.path()), ElementsAre("x"));
    }
}

TEST(AtomicFile, SyncsContentsBeforeAndFolderAfterTheRename) {
    const TemporaryDirectory folder;
    FailingSystem system;
    AtomicFile file(folder / "x", system);
    file.write("bytes", 5);
    system.clearLog();
    file.commit();
    std::vector<std::string> calls = system.log();
    calls.erase(std::remove(calls.begin(), calls.end(), "linkat"), calls.end());  // not every file system needs it
    EXPECT_THAT(calls, ElementsAre("fsync", "renameat", "fsync"));
}

TEST(AtomicFile, GivesTheModeThatTheUmaskLeaves) {
    const TemporaryDirectory folder;
    const mode_t old = umask(027);
    replace(folder / "x", "bytes");
    umask(old);
    struct stat status = {};
    ASSERT_EQ(stat((folder / "x").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

/// Every call of a whole replacement fails once with `error`; the target was `before`, or nothing for "".
void failEachCallOfAReplacement(const Way& way, const std::string& before, int error) {
    const TemporaryDirectory folder;
    const std::size_t descriptors = openDescriptors();
    const std::string path = folder / "x\n";
    std::size_t failures = 0;
    const auto action = [&](FailingSystem& system) {
        std::filesystem::remove(path);
        if (!before.empty()) {
            folder.write("x\n", before);
        }
        take(way, system);
        replace(path, "new", system);
    };
    failEachCall(error, action, [&](const std::string& failure, const std::string& call) {
        SCOPED_TRACE(call);
        const bool written = failure.empty() || failure.find("but the file is written") != std::string::npos;
        const std::string expected = written ? "new" : before;
        EXPECT_EQ(std::filesystem::exists(path) ? folder.read("x\n") : "", expected);
        EXPECT_EQ(namesBelow(folder.path()).size(), expected.empty() ? 0 : 1);
        EXPECT_EQ(openDescriptors(), descriptors);
        if (!failure.empty()) {
            ++failures;
            EXPECT_THAT(failure, StartsWith(folder / "x\\n: can't "));
            EXPECT_THAT(failure, EndsWith(std::strerror(error)));
        }
    });
    EXPECT_GE(failures, 6U);
}

TEST(AtomicFile, LeavesOldOrNewAndNothingElseWhicheverCallFails) {
    for (const Way& way : kWays) {
        for (const char* before : {"", "old"}) {
            for (const int error : {EIO, ENOSPC, EMFILE}) {
                SCOPED_TRACE(std::string(way.name) + ", before: " + before);
                failEachCallOfAReplacement(way, before, error);
            }
        }
    }
}

TEST(AtomicFile, TakesAWriteOfNothingForAFailure) {
    const TemporaryDirectory folder;
    FailingSystem system;
    system.limitTransfers(0);
    EXPECT_EQ(failureOf([&] { replace(folder / "x", "new", system); }),
              (folder / "x") + ": can't write: the system takes no more bytes");
}

TEST(AtomicFile, ReplacesLinksButNothingThatIsNoFile) {
    const TemporaryDirectory folder;
    folder.write("file", "old");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const struct {
        const char* target;  ///< of a symlink; the fault is the same without one
        bool accepted;
        const char* why;
    } cases[] = {
        {"file", true, "the link is replaced, not the file"},
        {"nowhere", true, "a dangling link"},
        {"link", true, "a link to itself"},
        {"folder", false, "a folder"},
        {"fifo", false, "a FIFO, which must not block"},
        {"/dev/null", false, "a device"},
        {"/proc/self/exe", false, "what /dev/stdout is like"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const std::string link = folder / "link";
        std::filesystem::remove(link);
        std::filesystem::create_symlink(c.target, link);
        const std::string failure = failureOf([&] { replace(link, "new"); });
        EXPECT_EQ(failure, c.accepted ? "" : link + ": is not a regular file");
        EXPECT_EQ(std::filesystem::is_symlink(link), !c.accepted);
        EXPECT_EQ(folder.read("file"), "old");
    }
    for (const char* path : {"", "folder", "fifo", "folder/", "folder/.", "folder/..", "/dev/null"}) {
        const std::string whole = path[0] == '/' || path[0] == 0 ? path : folder / path;
        EXPECT_EQ(failureOf([&] { replace(whole, "new"); }), whole + ": is not a regular file");
    }
    EXPECT_EQ(failureOf([&] { replace(folder / "none/x", "new"); }),
              (folder / "none/x") + ": can't open its folder: No such file or directory");
}

}  // namespace

#include "stream/system/AtomicFile.hpp"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/system/Surroundings.hpp"

namespace bex::test {
namespace {

using stream::AtomicFile;
using stream::System;
using testing::ElementsAre;

void replace(const std::string& path, const std::string& bytes, System& system = System::real()) {
    AtomicFile file(path, system);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

/// The call that fails where the bytes go to an unnamed file until they are committed, and where to a named one,
/// as without /proc.
constexpr const char* kWays[] = {"", "fstat"};

TEST(AtomicFile, ReplacesOnlyAtCommitAndTakesShortWrites) {
    for (const char* way : kWays) {
        SCOPED_TRACE(way);
        const TemporaryDirectory folder;
        const std::string path = folder.write("x", "old");
        FailingSystem system;
        system.failAlways(ENOENT, way);
        system.limitTransfers(2);
        AtomicFile(path, system).write("lost", 4);
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
        // What is committed is never written in place.
        EXPECT_EQ(failureOf([&] { file.write("more", 4); }), path + ": is committed already");
        EXPECT_EQ(failureOf([&] { file.commit(); }), path + ": is committed already");
        EXPECT_EQ(folder.read("x"), "new bytes");
        EXPECT_THAT(namesBelow(folder.path()), ElementsAre("x"));
    }
}

TEST(AtomicFile, SyncsContentsBeforeAndFolderAfterTheRename) {
    const TemporaryDirectory folder;
    FailingSystem system;
    AtomicFile file(folder / "x", system);
    system.clearLog();
    file.commit();
    std::vector<std::string> calls = system.log();
    calls.erase(std::remove(calls.begin(), calls.end(), "linkat"), calls.end());  // not every file system needs it
    EXPECT_THAT(calls, ElementsAre("fsync", "renameat", "fsync"));
}

TEST(AtomicFile, RefusesFoldersAndASystemThatTakesNothing) {
    const TemporaryDirectory folder;
    std::filesystem::create_directory(folder / "folder");
    EXPECT_EQ(failureOf([] { replace("", "new"); }), "is not a regular file");
    for (const std::string& path : {folder / "folder", folder / "folder/", folder / "folder/.."}) {
        EXPECT_EQ(failureOf([&] { replace(path, "new"); }), path + ": is not a regular file");
    }
    FailingSystem system;
    system.limitTransfers(0);
    EXPECT_EQ(failureOf([&] { replace(folder / "x", "new", system); }),
              folder / "x: can't write: No space left on device");
}

}  // namespace
}  // namespace bex::test

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "Failure.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

namespace fs = std::filesystem;
using stream::PackageWriter;
using testing::ElementsAre;

/// A tree with one file of interest, an old package, and a system that can be told to act in between.
class Sources {
public:
    Sources() {
        folder.write("tree/sub/file", "0123456789");
        folder.write("elsewhere/file", "0123456789");
        folder.write("packages/tool.bex", "old");
        fs::create_hard_link(folder / "tree/sub/file", folder / "tree/sub/second");
        setTime(1000);
        writer.addTree(folder / "tree");
    }

    void setTime(time_t seconds) {
        const timespec times[] = {{seconds, 0}, {seconds, 0}};
        utimensat(AT_FDCWD, file.c_str(), times, 0);
    }

    std::string failure() {
        return failureOf([&] { writer.write(folder / "packages/tool.bex"); });
    }

    void expectOldPackage() {
        EXPECT_EQ(folder.read("packages/tool.bex"), "old");
        EXPECT_THAT(namesIn(folder / "packages"), ElementsAre("tool.bex"));
    }

    TemporaryDirectory folder;
    const std::string file = folder / "tree/sub/file";
    FailingSystem system;
    PackageWriter writer = soundWriter(system);
};

struct Change {
    const char* name;
    std::function<void(const TemporaryDirectory& folder, const std::string& file)> make;
    std::string reason;
};
const Change kChangesBefore[] = {
    {"vanishes", [](auto&, auto& file) { fs::remove(file); }, ": can't open it: No such file or directory"},
    {"shrinks", [](auto&, auto& file) { fs::resize_file(file, 9); }, ": shrank after it was listed"},
    {"grows", [](auto&, auto& file) { fs::resize_file(file, 11); }, ": grew after it was listed"},
    {"sameSize", [](auto& folder, auto&) { folder.write("tree/sub/file", "9876543210"); },
     ": changed after it was listed"},
    {"mode", [](auto&, auto& file) { chmod(file.c_str(), 0601); }, ": changed its mode after it was listed"},
    {"replaced", [](auto& folder, auto& file) { fs::rename(folder / "elsewhere/file", file); },
     ": was replaced after it was listed"},
    {"symlink",
     [](auto& folder, auto& file) {
         fs::rename(file, folder / "moved");
         fs::create_symlink(folder / "moved", file);  // even to the very file that was listed
     },
     ": is no regular file any more"},
    {"fifo",
     [](auto&, auto& file) {
         fs::remove(file);
         mkfifo(file.c_str(), 0644);
     },
     ": is no regular file any more"},
    {"directory",
     [](auto&, auto& file) {
         fs::remove(file);
         fs::create_directory(file);
     },
     ": is no regular file any more"},
    {"parent",
     [](auto& folder, auto& file) {
         fs::rename(fs::path(file).parent_path(), folder / "moved");
         fs::create_symlink("../elsewhere", fs::path(file).parent_path());
     },
     ": was replaced after it was listed"},
};

TEST(SourcesOfAWriter, ThatChangeBeforeTheyAreReadAreErrors) {
    for (const Change& change : kChangesBefore) {
        SCOPED_TRACE(change.name);
        Sources sources;
        change.make(sources.folder, sources.file);
        EXPECT_EQ(sources.failure(), sources.file + change.reason);
        sources.expectOldPackage();
    }
}

/// Acts until the file's change time is another: a clock may tick only every few milliseconds.
void untilTimeMoves(const std::string& file, const std::function<void()>& act) {
    struct stat before {};
    struct stat after {};
    stat(file.c_str(), &before);
    do {
        act();
        stat(file.c_str(), &after);
    } while (before.st_ctim.tv_sec == after.st_ctim.tv_sec && before.st_ctim.tv_nsec == after.st_ctim.tv_nsec);
}

const Change kChangesWhileRead[] = {
    {"shrinks", [](auto&, auto& file) { fs::resize_file(file, 9); }, ": shrank while it was read"},
    {"empties", [](auto&, auto& file) { fs::resize_file(file, 0); }, ": shrank while it was read"},
    {"grows", [](auto&, auto& file) { fs::resize_file(file, 11); }, ": grew while it was read"},
    {"sameSizeAndTime",
     [](auto&, auto& file) {
         untilTimeMoves(file, [&] {
             std::fstream(file, std::ios::in | std::ios::out) << "987";
             const timespec times[] = {{1000, 0}, {1000, 0}};
             utimensat(AT_FDCWD, file.c_str(), times, 0);
         });
     },
     ": changed while it was read"},
};

TEST(SourcesOfAWriter, SingleFilesAreHeldAgainstTheListToo) {
    for (const Change& change : kChangesBefore) {
        SCOPED_TRACE(change.name);
        Sources sources;
        sources.writer = soundWriter(sources.system);
        sources.writer.addFile(sources.file, "single");
        change.make(sources.folder, sources.file);
        EXPECT_EQ(sources.failure(), sources.file + change.reason);
        sources.expectOldPackage();
    }
}

TEST(SourcesOfAWriter, ThatChangeWhileTheyAreReadAreErrors) {
    for (const Change& change : kChangesWhileRead) {
        SCOPED_TRACE(change.name);
        Sources sources;
        sources.system.watch([&, done = false](const std::string& call, std::size_t) mutable {
            if (call == "read" && !std::exchange(done, true)) {
                change.make(sources.folder, sources.file);
            }
        });
        EXPECT_EQ(sources.failure(), sources.file + change.reason);
        sources.expectOldPackage();
    }
}

TEST(SourcesOfAWriter, FurtherNamesOfAFileMustStillLeadToIt) {
    Sources sources;
    fs::remove(sources.folder / "tree/sub/second");
    sources.setTime(1000);
    EXPECT_EQ(sources.failure(), sources.folder / "tree/sub/second: can't open it: No such file or directory");
    sources.folder.write("tree/sub/second", "0123456789");
    EXPECT_EQ(sources.failure(), sources.folder / "tree/sub/second: was replaced after it was listed");
    sources.expectOldPackage();
}

TEST(SourcesOfAWriter, ADirectoryThatIsReplacedDuringTheScanIsNoticed) {
    Sources sources;
    sources.system.watch([&, scanning = false](const std::string& call, std::size_t) mutable {
        // The second directory that is opened for its names is "sub".
        if (call == "openat" && std::exchange(scanning, true) && sources.system.count("fdopendir") == 1) {
            fs::rename(sources.folder / "tree/sub", sources.folder / "moved");
            fs::rename(sources.folder / "elsewhere", sources.folder / "tree/sub");
        }
    });
    sources.system.clearLog();
    EXPECT_EQ(failureOf([&] { sources.writer.addTree(sources.folder / "tree"); }),
              sources.folder / "tree/sub: was replaced while the tree was read");
}

TEST(SourcesOfAWriter, WhatWasNotChangedIsPackagedWhateverTheSizeOfReadsAndWrites) {
    Sources sources;
    const std::string whole = written(sources.writer, sources.folder);
    sources.system.limitTransfers(7);
    EXPECT_EQ(written(sources.writer, sources.folder), whole);
}

}  // namespace
}  // namespace bex::test

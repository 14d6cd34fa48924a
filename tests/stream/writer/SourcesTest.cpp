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
        fs::create_hard_link(file, folder / "tree/sub/second");
        setTime();
        writer.addTree(folder / "tree");
    }

    void setTime() {
        const timespec times[] = {{1000, 0}, {1000, 0}};
        utimensat(AT_FDCWD, file.c_str(), times, 0);
    }

    void expectFailure(const std::string& reason) {
        EXPECT_EQ(failureOf([&] { writer.write(folder / "packages/tool.bex"); }), folder / "tree/sub/" + reason);
        EXPECT_EQ(folder.read("packages/tool.bex"), "old");
        EXPECT_THAT(namesBelow(folder / "packages"), ElementsAre("tool.bex"));
    }

    TemporaryDirectory folder;
    const std::string file = folder / "tree/sub/file";
    FailingSystem system;
    PackageWriter writer = soundWriter(system);
};

struct Change {
    const char* reason;
    std::function<void(Sources& sources, const std::string& file)> make;
    bool followed = false;  ///< no change for a file that is named by itself
    int nth = 1;            ///< before which reading it is made
};

TEST(SourcesOfAWriter, ThatChangeBeforeTheyAreReadAreErrors) {
    const Change changes[] = {
        {"changed after it was listed", [](auto& s, auto&) { s.folder.write("tree/sub/file", "9876543210"); }},
        {"changed its mode after it was listed", [](auto&, auto& file) { chmod(file.c_str(), 0601); }},
        {"changed its owner after it was listed",
         [](auto&, auto& file) {
             if (chown(file.c_str(), 5, 6) != 0) {  // which only root may do
                 chmod(file.c_str(), 0601);
             }
         }},
        {"was replaced after it was listed",
         [](auto& s, auto& file) { fs::rename(s.folder / "elsewhere/file", file); }},
        {"is no longer a regular file",
         [](auto& s, auto& file) {
             fs::rename(file, s.folder / "moved");
             fs::create_symlink(s.folder / "moved", file);  // even to the very file that was listed
         },
         true},
        {"is no longer a regular file",
         [](auto&, auto& file) {
             fs::remove(file);
             mkfifo(file.c_str(), 0644);
         }},
        {"was replaced after it was listed",
         [](auto& s, auto& file) {
             fs::rename(fs::path(file).parent_path(), s.folder / "moved");
             fs::create_symlink("../elsewhere", fs::path(file).parent_path());
         }},
    };
    for (const Change& change : changes) {
        for (const bool isSingle : {false, true}) {
            Sources sources;
            if (isSingle) {
                sources.writer = soundWriter(sources.system);
                sources.writer.addFile(sources.file, "single");
            }
            change.make(sources, sources.file);
            if (isSingle && change.followed) {
                sources.writer.write(sources.folder / "packages/tool.bex");
            } else {
                sources.expectFailure(std::string("file: ") + change.reason);
            }
        }
    }
}

/// Changes the file and sets its time back, until its change time is another: a clock may tick only every few
/// milliseconds.
void changeInSecret(Sources& sources, const std::string& file) {
    struct stat before {};
    struct stat after {};
    stat(file.c_str(), &before);
    do {
        std::fstream(file, std::ios::in | std::ios::out) << "987";
        sources.setTime();
        stat(file.c_str(), &after);
    } while (before.st_ctim.tv_sec == after.st_ctim.tv_sec && before.st_ctim.tv_nsec == after.st_ctim.tv_nsec);
}

TEST(SourcesOfAWriter, ThatChangeWhileTheyAreReadAreErrors) {
    const Change changes[] = {
        {"shrank while it was read", [](auto&, auto& file) { fs::resize_file(file, 9); }},
        {"grew while it was read", [](auto&, auto& file) { fs::resize_file(file, 11); }},
        {"changed while it was read", changeInSecret, false, 2},
    };
    for (const Change& change : changes) {
        Sources sources;
        sources.system.watch([&, left = change.nth](const std::string& call, std::size_t) mutable {
            if (call == "pread" && --left == 0) {
                change.make(sources, sources.file);
            }
        });
        sources.expectFailure(std::string("file: ") + change.reason);
    }
}

TEST(SourcesOfAWriter, ThatOnlyChangeTheirStatusHaveNotChanged) {
    Sources sources;
    const auto changeTime = [&] {
        struct stat status {};
        stat(sources.file.c_str(), &status);
        return std::pair(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
    };
    const auto before = changeTime();
    sources.system.watch([&](const std::string& call, std::size_t) {
        while (call == "pread" && changeTime() == before) {  // a clock may tick only every few milliseconds
            fs::remove(sources.folder / "third");
            fs::create_hard_link(sources.file, sources.folder / "third");
        }
    });
    sources.writer.write(sources.folder / "packages/tool.bex");
    EXPECT_NE(sources.folder.read("packages/tool.bex"), "old");
}

TEST(SourcesOfAWriter, FurtherNamesOfAFileMustStillLeadToIt) {
    Sources sources;
    fs::remove(sources.folder / "tree/sub/second");
    sources.setTime();
    sources.expectFailure("second: can't open it: No such file or directory");
    sources.folder.write("tree/sub/second", "0123456789");
    sources.expectFailure("second: was replaced after it was listed");
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

}  // namespace
}  // namespace bex::test

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
#include "stream/writer/FileReader.hpp"
#include "stream/writer/SpanningFile.hpp"
#include "stream/writer/TreeScanner.hpp"

namespace bex::test {
namespace {

namespace fs = std::filesystem;
using stream::PackageWriter;
using testing::ElementsAre;
using testing::StartsWith;

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

/// Whether contents changed is known when all files of a block are read.
TEST(SourcesOfAWriter, ThatChangeAreNamedBeforeAFileAfterThemThatCannotBeRead) {
    Sources sources;
    sources.folder.write("tree/sub/later", "x");
    sources.writer = soundWriter(sources.system);
    sources.writer.addTree(sources.folder / "tree");
    sources.system.watch([&, left = 2](const std::string& call, std::size_t) mutable {
        if (call == "pread" && --left == 0) {
            changeInSecret(sources, sources.file);
            fs::remove(sources.folder / "tree/sub/later");
        }
    });
    sources.expectFailure("file: changed while it was read");
}

/// Builds the tree anew, and returns the error, or "" for a package. Before the nth call on files, if there is
/// one, the change is made.
std::string buildAround(Sources& sources, std::size_t nth, const std::function<void()>& change) {
    sources.system.watch([&](const std::string&, std::size_t number) {
        if (number == nth) {
            change();
        }
    });
    sources.system.clearLog();
    sources.writer = soundWriter(sources.system);
    stream::WriteOptions options = datedOptions();
    options.blockBytes = std::size_t{64} << 10;  // so that the file is read in several parts
    return failureOf([&] {
        sources.writer.addTree(sources.folder / "tree");
        sources.writer.write(sources.folder / "packages/tool.bex", options);
    });
}

TEST(SourcesOfAWriter, ThatChangeAtAnyMomentAreStoredExactlyOrAreErrors) {
    const std::string contents(150000, 'x');
    const std::pair<const char*, std::function<void(Sources&)>> changes[] = {
        {"vanishes", [](Sources& s) { fs::remove(s.file); }},
        {"grows", [](Sources& s) { fs::resize_file(s.file, 170000); }},
        {"shrinks", [](Sources& s) { fs::resize_file(s.file, 70000); }},
        {"is a link", [](Sources& s) { fs::remove(s.file), fs::create_symlink("second", s.file); }},
        {"is a FIFO", [](Sources& s) { fs::remove(s.file), mkfifo(s.file.c_str(), 0644); }},
        {"is written", [](Sources& s) { s.folder.write("tree/sub/file", std::string(150000, 'y')); }},
        {"is written in secret", [](Sources& s) { changeInSecret(s, s.file); }},
    };
    for (const auto& [name, change] : changes) {
        const auto packageAround = [&, change = change](Sources& sources, std::size_t nth) {
            sources.folder.write("tree/sub/file", contents);
            sources.setTime();
            return buildAround(sources, nth, [&] { change(sources); });
        };
        Sources unchanged;
        ASSERT_EQ(packageAround(unchanged, 0), "");
        const std::string before = unchanged.folder.read("packages/tool.bex");
        Sources changed;
        const std::string refused = packageAround(changed, 1);
        const std::string after = changed.folder.read("packages/tool.bex");
        for (std::size_t nth = 2;; ++nth) {
            Sources sources;
            const std::string failure = packageAround(sources, nth);
            if (sources.system.log().size() < nth) {
                EXPECT_GT(nth, 40U);
                break;
            }
            SCOPED_TRACE(name + (" before " + sources.system.log()[nth - 1]) + " " + std::to_string(nth) + ": " +
                         failure);
            const std::string made = sources.folder.read("packages/tool.bex");
            if (failure.empty()) {
                EXPECT_TRUE(made == before || (made == after && refused.empty()));
            } else {
                EXPECT_THAT(failure, StartsWith(sources.folder / "tree/sub"));
                EXPECT_EQ(made, "old");
            }
            EXPECT_THAT(namesBelow(sources.folder / "packages"), ElementsAre("tool.bex"));
        }
    }
}

TEST(SourcesOfAWriter, ThatChangeAfterTheirLastPartWasReadAreNoticedByTheOthers) {
    Sources sources;
    stream::Collection collection;
    stream::TreeScanner(collection, sources.system).scanFile(sources.file, "file");
    stream::FileReader reader(collection, sources.system);
    const stream::SourceEntry& entry = collection.entries.front();
    char buffer[10];
    reader.readPart(entry, 5, buffer, 5);
    sources.system.watch([&](const std::string& call, std::size_t) {
        if (call == "pread") {
            changeInSecret(sources, sources.file);
        }
    });
    EXPECT_TRUE(reader.readPart(entry, 0, buffer, 5).differ());
    sources.system.watch([&](const std::string& call, std::size_t) {
        if (call == "pread") {
            sources.folder.write("tree/sub/file", "9876543210");
        }
    });
    EXPECT_EQ(failureOf([&] { reader.readPart(entry, 0, buffer, 5); }),
              sources.file + ": changed while it was read");

    stream::ChangeTimes changed;
    changed.after.tv_nsec = 1;
    stream::SpanningFile file;
    file.add("first", {});
    file.add("second", changed);
    file.add("third", {});
    EXPECT_TRUE(file.times.differ());
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

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>

#include "../extract/Unpacking.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::ExtractOptions;
using stream::PackageReader;

TEST(Extract, ALinkToAFileThatIsLeftOutIsRefused) {
    const TemporaryDirectory folder;
    ExtractOptions options;
    options.select = [](const Entry& entry) { return entry.path == "./other"; };
    EXPECT_EQ(reading(packageOf(tarFile("./tool", "tool") + tarLink("./other", "./tool", '1')), Route::pipe,
                      [&](PackageReader& reader) { reader.extract(folder / "out", options); }),
              "p.bex: ./other: is a hard link to \"./tool\", which is not extracted");
}

TEST(Extract, RenamesEntriesAndTheTargetsOfHardLinks) {
    const std::string package = packageOf(tarFolder("./") + tarFolder("./d/") + tarFile("./d/a", "a") +
                                          tarLink("./d/b", "./d/a", '1') + tarFile("./gone", "x"));
    const TemporaryDirectory folder;
    ExtractOptions options;
    options.rename = [](const std::string& path) {
        return path == "gone" ? "" : "new" + path.substr(path.find('/') + 1);
    };
    stream::ExtractResult result;
    EXPECT_EQ(reading(package, Route::pipe,
                      [&](PackageReader& reader) { result = reader.extract(folder / "out", options); }),
              "");
    EXPECT_EQ(unpacking::treeBelow(folder / "out"),
              (unpacking::Tree{{"newd", "d 0755"}, {"newa", "f 0644 a"}, {"newb", "f 0644 a"}}));
    EXPECT_EQ(result.entries, 4U) << "the root, the directory, two names of a file";
    options.rename = [](const std::string& path) { return "../" + path; };
    EXPECT_EQ(reading(package, Route::pipe, [&](PackageReader& reader) { reader.extract(folder / "x", options); }),
              "p.bex: ./d/: its path leads out of the destination");
}

TEST(Extract, KeepsWhatExistsAndLinksNothingToIt) {
    const std::string entries = tarFile("./a", "new") + tarLink("./b", "./a", '1') + tarFile("./c", "new");
    ExtractOptions options;
    options.existing = stream::Existing::keep;
    for (const bool linkExists : {true, false}) {
        const TemporaryDirectory folder;
        folder.write("a", "old");
        if (linkExists) {
            folder.write("b", "old");
        }
        std::uint64_t made = 0;
        const std::string failure = reading(packageOf(entries), Route::file, [&](PackageReader& reader) {
            made = reader.extract(folder / "", options).entries;
        });
        EXPECT_EQ(failure, linkExists ? "" : "p.bex: ./b: its link target was there before and is kept");
        EXPECT_EQ(folder.read("a"), "old");
        EXPECT_EQ(made, linkExists ? 1U : 0U);
    }
}

/// Folders of small files with larger ones, some of several batches, links, other folders (one without an entry)
/// and other names among them.
std::string manySmallFiles() {
    std::string entries;
    for (std::size_t folder = 0; folder < 10; ++folder) {
        const std::string path = "./d" + std::to_string(folder) + '/';
        const std::string large((folder + 1) * 80'000, static_cast<char>('A' + folder));
        entries += tarFolder(path) + tarLink(path + "s", "f1", '2');
        for (std::size_t i = 0; i < 25; ++i) {
            entries += tarFile(path + 'f' + std::to_string(i), std::string(i * 400, static_cast<char>('a' + i)));
        }
        entries += tarFile(path + "down/x", "x") + tarFile(path + "large", large) + tarFolder(path + "e/") +
                   tarFile(path + "e/x", "x");
        if (folder % 4 == 3) {  // a hard link waits for all before it
            entries += tarLink(path + "h", path + "f24", '1');
        }
    }
    return entries;
}

std::string extracting(const std::string& entries, const std::string& destination, unsigned threads) {
    stream::ReadOptions options;
    options.threads = threads;
    return reading(
        packageOf(entries), Route::file, [&](PackageReader& reader) { reader.extract(destination); }, options);
}

TEST(Extract, ManyThreadsMakeWhatOneMakes) {
    const TemporaryDirectory folder;
    ASSERT_EQ(extracting(manySmallFiles(), folder / "one", 1), "");
    const unpacking::Tree expected = unpacking::treeBelow(folder / "one");
    ASSERT_EQ(expected.size(), 10U * 32 + 2);
    for (int round = 0; round < 3; ++round) {
        const std::string to = folder / std::to_string(round);
        ASSERT_EQ(extracting(manySmallFiles(), to, 4), "");
        EXPECT_EQ(unpacking::treeBelow(to), expected);
    }
}

TEST(Extract, TheFirstFailureIsToldHoweverManyThreadsWorkOnWhatFollows) {
    // Faults of which the disk tells all but the last one, which the archive tells, and which is met long before.
    const std::string entries = manySmallFiles() + tarFile("../x");
    for (const std::string first : {"d3/f7", "d0/f0", "d7/large", "d8/s", "d9/f24", "d9/down/x"}) {
        for (const unsigned threads : {1U, 4U}) {
            SCOPED_TRACE(first + ", threads " + std::to_string(threads));
            const TemporaryDirectory folder;
            const bool atDirectory = first == "d9/down/x";
            std::filesystem::create_directories(folder / (atDirectory ? "to/d9" : "to/d9/f24"));
            std::filesystem::create_symlink("/", folder / "to/d9/down");
            if (!atDirectory) {
                std::filesystem::create_directories(folder / ("to/" + first));
            }
            EXPECT_EQ(extracting(entries, folder / "to", threads),
                      "p.bex: ./" + first +
                          (atDirectory ? ": its directory \"down\" is a symlink in the destination"
                                       : ": can't replace: Is a directory"));
            for (const auto& [path, description] : unpacking::treeBelow(folder / "to")) {
                EXPECT_EQ(path.find(".bex-"), std::string::npos) << path;
                EXPECT_NE(description.substr(0, 6), "f 0600") << path;
            }
        }
    }
}

TEST(Extract, AFileThatIsCutOffIsGoneHoweverMuchOfItWasWritten) {
    const std::string whole =
        tarFile("./a", std::string(300'000, 'a')) + tarFile("./b", std::string(2'000'000, 'b'));
    for (const std::size_t cut : {200'000U, 310'000U, 600'000U, 2'200'000U}) {
        for (const unsigned threads : {1U, 4U}) {
            SCOPED_TRACE(std::to_string(cut) + ", threads " + std::to_string(threads));
            const TemporaryDirectory folder;
            stream::ReadOptions options;
            options.threads = threads;
            const std::string failure = reading(
                packageOf(whole.substr(0, cut)), Route::file,
                [&](PackageReader& reader) { reader.extract(folder / ""); }, options);
            EXPECT_THAT(failure, testing::HasSubstr("the archive ends before"));
            EXPECT_EQ(unpacking::treeBelow(folder.path()).size(), cut < 300'000 ? 0U : 1U);
        }
    }
}

TEST(Extract, NeedsFewDescriptorsHoweverManyThreadsAndFolders) {
    std::string entries;
    for (int i = 0; i < 1000; ++i) {
        entries += tarFile("./" + std::to_string(i) + "/f", "x");
    }
    const TemporaryDirectory folder;
    rlimit usual = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit few = {200, usual.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const std::string failure = extracting(entries, folder / "to", 64);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(failure, "");
}

}  // namespace
}  // namespace bex::test

#include <gmock/gmock.h>

#include <boost/filesystem/exception.hpp>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;

/// "path on disk > name in archive" of every record, once the names agree with the package's list of files.
Strings recordsOf(const Package& package) {
    Strings records;
    std::list<std::string> names;
    for (const FileOnDisk* file : package.getFilesOnDisk()) {
        records.push_back(file->pathOnDisk_ + " > " + file->nameInArchive_);
        names.push_back(file->nameInArchive_);
    }
    EXPECT_EQ(package.getFiles(), names);
    return records;
}

TEST(AddingFromDisk, NamesAFileOrEverythingOfATree) {
    const TemporaryDirectory dir;
    const std::string tree = dir / "site";
    const std::string file = dir.write("site/img/a.png", "");
    const Strings renamed{tree + "/ > www/", tree + "/img/ > www/img/", file + " > www/img/a.png"};
    const struct {
        std::string source;
        std::string target;
        Strings records;
    } cases[] = {
        {file, "x/y.png", {file + " > x/y.png"}},
        {file, "", {file + " > " + file}},
        {tree, "www", renamed},
        {tree + "/", "www/", renamed},
        {tree + "/img", "", {tree + "/img/ > " + tree + "/img/", file + " > " + file}},
    };
    for (const auto& c : cases) {
        Package package;
        package.add(c.source, c.target);
        EXPECT_EQ(recordsOf(package), c.records);
        package.add(c.source, c.target);
        EXPECT_EQ(recordsOf(package), c.records) << "a second time adds nothing";
    }
}

TEST(AddingFromDisk, FollowsLinksAndChecksADirectorysOwnNameOnly) {
    const TemporaryDirectory dir;
    fs::create_symlink(dir.write("real/f", ""), dir / "file");
    fs::create_symlink(dir / "real", dir / "link");
    Package package;
    package.add(dir / "file", "l/f");
    package.add(dir / "link", "l");
    EXPECT_THAT(package.getFiles(), ElementsAre("l/f", "l/", "l/f"));
}

TEST(AddingFromDisk, NamesAMissingSourceAsSeenFromWhereTheProcessStarted) {
    const TemporaryDirectory dir;
    const std::string file = dir.write("f", "");
    const fs::path started = fs::current_path();
    for (const std::string& source : {std::string("missing/x"), std::string("./missing"), dir / "missing"}) {
        const std::string message = "Can't add " + (started / source).string() +
                                    " file to bex because it is not accessible doesn't exist.";
        Package package;
        fs::current_path(dir.path());
        EXPECT_EQ(failureOf([&] { package.add(source, "x"); }), message);
        fs::current_path(started);
        EXPECT_EQ(failureOf([&] { package.add({file, source, "never reached"}); }), message);
        EXPECT_THAT(package.getFiles(), ElementsAre(file)) << "what came before it stays";
    }
}

TEST(AddingFromDisk, RecordsNothingOfATreeThatCannotBeWalked) {
    const TemporaryDirectory dir;
    dir.write("d/a/f", "");
    fs::create_directory_symlink(".", dir / "d/without end");
    Package package;
    EXPECT_THROW(package.add(dir / "d", "d"), boost::filesystem::filesystem_error);
    EXPECT_EQ(recordsOf(package), Strings());
}

TEST(AddingFromMemory, KeepsTheCallersRecordsAndChecksNoNames) {
    const TemporaryDirectory dir;
    sFileInMemory* first = newRecord("same", "1");
    std::list<sFileInMemory*> more{newRecord("same", "2"), newRecord("d/", "")};
    Package package;
    package.add(dir.write("f", ""), "same");
    package.add(first);
    package.add(more);
    EXPECT_THAT(package.getFilesInMemory(), ElementsAre(first, more.front(), more.back()));
    EXPECT_THAT(package.getFiles(), ElementsAre("same", "same", "same", "d/"));
    package.add(dir.path(), "d");
    EXPECT_EQ(package.getFilesOnDisk().size(), 1U) << "a name in memory counts for files on disk";
}

TEST(ListingContent, ComparesNamesByteForByteAndPrintsThemInOrderOfAdding) {
    const TemporaryDirectory dir;
    dir.write("src/a", "");
    Package package;
    package.with("./m", "").add(dir / "src", "pkg");
    Strings found;
    for (const char* name : {"pkg/", "pkg", "pkg/a", "./pkg/a", "pkg/a/", "./m", "m", "./M", "./m ", ""}) {
        if (package.isFileInArchive(name)) {
            found.push_back(name);
        }
    }
    EXPECT_THAT(found, ElementsAre("pkg/", "pkg/a", "./m"));

    package.setVersion("1");
    package.setPackageName("p");
    package.setSection("");
    const CapturedOutput output;
    package.printFiles();
    package.printInfo();
    EXPECT_EQ(output.text(), "./m\npkg/\npkg/a\nPackage: p\nSection: \nVersion: 1\n");
}

}  // namespace
}  // namespace bex::test

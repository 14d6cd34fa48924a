#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// "path on disk > name in archive" of every record, once the names agree with the package's list of files.
Strings recordsOf(Package& package) {
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
    dir.write("site/img/a.png", "");
    const struct {
        std::string source;
        std::string target;
        Strings records;
    } cases[] = {
        {tree + "/img/a.png", "x/y.png", {tree + "/img/a.png > x/y.png"}},
        {tree + "/img/a.png", "", {tree + "/img/a.png > " + tree + "/img/a.png"}},
        {tree,
         "var/www",
         {tree + "/ > var/www/", tree + "/img/ > var/www/img/", tree + "/img/a.png > var/www/img/a.png"}},
        {tree + "/",
         "var/www/",
         {tree + "/ > var/www/", tree + "/img/ > var/www/img/", tree + "/img/a.png > var/www/img/a.png"}},
        {tree + "/img", "", {tree + "/img/ > " + tree + "/img/", tree + "/img/a.png > " + tree + "/img/a.png"}},
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
    const std::string file = dir.write("real/f", "");
    fs::create_symlink(dir / "real", dir / "link");
    fs::create_symlink(file, dir / "file");
    Package fileFirst;
    fileFirst.add(dir / "file", "l/f");
    fileFirst.add(dir / "link", "l");
    EXPECT_THAT(fileFirst.getFiles(), ElementsAre("l/f", "l/", "l/f"));
    Package treeFirst;
    treeFirst.add(dir / "link", "l");
    treeFirst.add(dir / "file", "l/f");
    EXPECT_THAT(treeFirst.getFiles(), ElementsAre("l/", "l/f"));
}

std::string notAccessible(const std::string& absolute) {
    return "Can't add " + absolute + " file to bex because it is not accessible doesn't exist.";
}

TEST(AddingFromDisk, NamesAMissingSourceAbsolutelyAndChangesNothing) {
    const TemporaryDirectory dir;
    const std::string file = dir.write("f", "");
    const struct {
        std::string source;
        std::string absolute;
    } cases[] = {
        {"missing/x", (fs::current_path() / "missing/x").string()},
        {"./missing", (fs::current_path() / "./missing").string()},
        {dir / "missing", dir / "missing"},
        {"", ""},
    };
    const fs::path started = fs::current_path();
    for (const auto& c : cases) {
        Package package;
        fs::current_path(dir.path());
        EXPECT_EQ(failureOf([&] { package.add(c.source, "x"); }), notAccessible(c.absolute))
            << "absolute from where the process started, not from where it is";
        fs::current_path(started);
        EXPECT_EQ(failureOf([&] { package.add({file, c.source, "never reached"}); }), notAccessible(c.absolute));
        EXPECT_THAT(package.getFiles(), ElementsAre(file)) << "what came before it stays";
    }
}

TEST(AddingFromDisk, RecordsNothingOfATreeThatCannotBeWalked) {
    const TemporaryDirectory dir;
    dir.write("d/a/f", "");
    const std::string step(250, 'n');
    int at = open((dir / "d").c_str(), O_DIRECTORY);
    for (int depth = 0; depth < 20; ++depth) {  // past what one path can name
        ASSERT_EQ(mkdirat(at, step.c_str(), 0700), 0);
        const int below = openat(at, step.c_str(), O_DIRECTORY);
        close(at);
        at = below;
    }
    close(at);
    Package package;
    EXPECT_THROW(package.add(dir / "d", "d"), boost::filesystem::filesystem_error);
    EXPECT_THAT(recordsOf(package), IsEmpty());
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

TEST(ListingContent, ComparesNamesByteForByte) {
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
}

TEST(ListingContent, PrintsPathsInOrderOfAddingAndFieldsInOrderOfName) {
    const TemporaryDirectory dir;
    const CapturedOutput nothing;
    Package package;
    package.printFiles();
    package.printInfo();
    EXPECT_EQ(nothing.text(), "");

    package.with("z", "").add(dir.write("a", ""), "a");
    package.setVersion("1");
    package.setPackageName("p");
    package.setSection("");
    const CapturedOutput output;
    package.printFiles();
    package.printInfo();
    EXPECT_EQ(output.text(), "z\na\nPackage: p\nSection: \nVersion: 1\n");
}

}  // namespace
}  // namespace bex::test

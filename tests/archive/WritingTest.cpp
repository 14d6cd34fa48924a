#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "Packages.hpp"

namespace bex::test {
namespace {

/// A zone 5 1/2 hours ahead of UTC for the whole process; puts back the earlier one.
class ZoneAhead {
public:
    static constexpr std::time_t kSeconds = 5 * 3600 + 1800;
    ZoneAhead() {
        setenv("TZ", "BEX-05:30", 1);
        tzset();
    }
    ~ZoneAhead() {
        before_ == nullptr ? unsetenv("TZ") : setenv("TZ", text_.c_str(), 1);
        tzset();
    }
    ZoneAhead(const ZoneAhead&) = delete;
    ZoneAhead& operator=(const ZoneAhead&) = delete;

private:
    const char* before_ = std::getenv("TZ");
    std::string text_ = before_ == nullptr ? "" : before_;
};

/// A program that runs as long as the object lives: not even root may write to its file.
class RunningProgram {
public:
    explicit RunningProgram(std::string path) {
        fs::copy_file("/bin/sleep", path);
        std::string time = "600";
        char* arguments[] = {path.data(), time.data(), nullptr};
        if (posix_spawn(&child_, path.c_str(), nullptr, nullptr, arguments, environ) != 0) {
            throw std::runtime_error("cannot start " + path);
        }
    }
    ~RunningProgram() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

private:
    pid_t child_ = 0;
};

TEST(WritingAnArchive, PutsFilesOnDiskFirstAndCanBeRepeated) {
    const TemporaryDirectory dir;
    Filled<TarGzArchive> tar;
    tar.with("m1", "one").withDisk(dir.write("a", "A"), "d1").with("m2", "").withDisk(dir.write("b", ""), "");
    std::list<std::string> paths{dir / "a"};
    tar.archive.add(paths);
    EXPECT_EQ(tar.archive.getFilesOnDisk().size(), 2U) << "files come as records, never by path";

    const Contents expected{{"d1", "A"}, {"", ""}, {"m1", "one"}, {"m2", ""}};
    EXPECT_EQ(contentsOf(tar.written()), expected);
    EXPECT_EQ(loadedTarGz(tar.written()), expected);
    EXPECT_EQ(tar.archive.writeArchiveInFile(dir / "x.tar.gz"), 0);
    EXPECT_EQ(outputOf("gzip -dc " + (dir / "x.tar.gz") + " | tar -xOf - d1 m1"), "Aone");
    EXPECT_TRUE(contentsOf(Filled<TarGzArchive>().written()).empty());
}

TEST(WritingAnArchive, WritesArThatReadsBackInOrder) {
    const TemporaryDirectory dir;
    Filled<ArArchive> ar;
    ar.with("z", "odd")
        .with("a", std::string("\0\n`\n", 4))
        .with("empty", "")
        .archive.writeArchiveInFile(dir / "x");
    EXPECT_EQ(contentsOf(dir.read("x")), copiesOf(ar.archive));
    EXPECT_EQ(loadedAr(dir / "x"), copiesOf(ar.archive));
    EXPECT_EQ(outputOf("ar t " + (dir / "x") + "; ar p " + (dir / "x") + " z"), "z\na\nempty\nodd");
}

TEST(WritingAnArchive, KeepsADiskFilesAttributesAndStampsTheOthersWithTheLocalClock) {
    const ZoneAhead zone;
    const TemporaryDirectory dir;
    const std::string file = dir.write("f", "x");
    const timespec times[] = {{1, 0}, {1234567890, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    ASSERT_EQ(chmod(file.c_str(), 04751), 0);
    const std::time_t before = std::time(nullptr);
    const auto entries =
        entriesOf(Filled<TarGzArchive>().with("m", "1").withDisk(file, "f").withDisk(dir / "", "d/").written());
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].mode, S_IFREG | 04751);
    EXPECT_EQ(entries[0].mtime, 1234567890);
    EXPECT_EQ(entries[0].uid, static_cast<long>(getuid()));
    EXPECT_EQ(entries[1].mode, S_IFDIR | 0700);
    EXPECT_EQ(entries[2].mode, S_IFREG | 0600);
    EXPECT_EQ(entries[2].uid, 0);
    EXPECT_GE(entries[2].mtime, before + ZoneAhead::kSeconds);
    EXPECT_LE(entries[2].mtime, std::time(nullptr) + ZoneAhead::kSeconds);
}

TEST(WritingAnArchive, LetsNoUnusableDiskFileHarmTheOthersOrBlock) {
    const TemporaryDirectory dir;
    const std::string good = dir.write("good", "good");
    const std::string large = dir.write("large", std::string(300000, 'l'));
    ASSERT_EQ(mknod((dir / "fifo").c_str(), S_IFIFO | 0600, 0), 0);
    ASSERT_EQ(mknod((dir / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    fs::create_symlink("/dev/zero", dir / "device");
    fs::create_symlink(dir / "nowhere", dir / "broken");
    const RunningProgram running(dir / "busy");
    ASSERT_FALSE(std::fstream(dir / "busy")) << "this file should refuse to be written";
    const struct {
        std::string path;
        std::string name;
        Contents kept;
        const char* why;
    } cases[] = {
        {dir / "vanished", "v", {}, "a file that is gone"},
        {dir / "broken", "v", {}, "a link to nothing"},
        {dir / "socket", "s", {}, "a socket, which tar does not know"},
        {dir / "fifo", "p", {{"p", ""}}, "a FIFO nobody writes to"},
        {dir / "device", "z", {{"z", ""}}, "a device that never ends"},
        {dir / "", "d", {{"d/", ""}}, "a directory"},
        {dir / "busy",
         "e",
         {{"e", std::string(fs::file_size(dir / "busy"), '\0')}},
         "a file that refuses writing"},
        {large, std::string(101, 'n'), {}, "a name that tar cannot hold"},
    };
    for (const auto& c : cases) {
        Filled<TarGzArchive> tar;
        tar.withDisk(good, "before").withDisk(c.path, c.name).withDisk(good, "after").with("memory", "m");
        Contents expected{{"before", "good"}};
        expected.insert(expected.end(), c.kept.begin(), c.kept.end());
        expected.insert(expected.end(), {{"after", "good"}, {"memory", "m"}});
        EXPECT_EQ(contentsOf(tar.written()), expected) << c.why;
    }
}

TEST(WritingAnArchive, SaysWhichPathOrNameItCannotWrite) {
    const TemporaryDirectory dir;
    const std::string name(300, 'n');
    Filled<TarGzArchive> tar;
    Filled<ArArchive> ar;
    tar.with("good", "1").with(name, "2");
    ar.with("good", "1").with(name, "2");
    for (const std::string& failure :
         {failureOf([&] { tar.written(); }), failureOf([&] { ar.archive.writeArchiveInFile(dir / "x"); })}) {
        EXPECT_EQ(failure, "Couldn't write header for file " + name);
    }
    EXPECT_EQ(failureOf([&] { ar.archive.writeArchiveInFile(dir / "missing/x"); }),
              "Can't write archive to file " + (dir / "missing/x") + ".");
    EXPECT_FALSE(fs::exists(dir / "x")) << "no half of an archive is left";
}

TEST(AnArchive, FindsTheLastOfANameCopiesDeeplyAndListsAddresses) {
    Filled<TarGzArchive> tar;
    tar.with("n", "first").withDisk("/a", "name").with("other", "o").with("n", "last").withDisk("/b", "");
    const Contents expected{{"n", "first"}, {"other", "o"}, {"n", "last"}};
    EXPECT_EQ(copiesOf(tar.archive), expected);
    EXPECT_EQ(copiesOf(tar.archive), expected) << "after the first copies are gone";
    const sFileInMemory* last = tar.archive.getFileInMemory("n");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(std::string(last->bytes_, last->size_), "last");
    for (const char* absent : {"N", "n/", "", "name"}) {
        EXPECT_EQ(tar.archive.getFileInMemory(absent), nullptr) << absent;
    }

    Filled<ArArchive> ar;
    ar.with("m", "").withDisk("/a", "name").withDisk("/b", "");
    std::ostringstream lines;
    lines << "Files on disk:\nname\n/b\nFiles In memory:\n" << ar.archive.getFileInMemory("m") << " m\n";
    const CapturedOutput output;
    ar.archive.printFiles();
    EXPECT_EQ(output.text(), lines.str());
}

}  // namespace
}  // namespace bex::test

#include <archive.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <tuple>

#include "Packages.hpp"

namespace bex::test {
namespace {

TEST(WritingAnArchive, PutsFilesOnDiskFirstKeepsTheOrderAndCanBeRepeated) {
    const TemporaryDirectory dir;
    Filled<TarGzArchive> tar;
    tar.with("m1", "one").withDisk(dir.write("a", "A"), "d1").with("m2", "").withDisk(dir.write("b", ""), "");
    std::list<std::string> ignored{dir / "a"};
    tar.archive.add(ignored);
    const Contents expected{{"d1", "A"}, {"", ""}, {"m1", "one"}, {"m2", ""}};
    EXPECT_EQ(contentsOf(tar.written()), expected);
    EXPECT_EQ(loadedTarGz(tar.written()), expected);
    EXPECT_EQ(tar.archive.writeArchiveInFile(dir / "x.tar.gz"), 0);
    EXPECT_EQ(outputOf("gzip -dc " + (dir / "x.tar.gz") + " | tar -xOf - d1 m1"), "Aone");
    EXPECT_EQ(contentsOf(Filled<TarGzArchive>().written()), Contents());

    Filled<ArArchive> ar;
    ar.with("z", "odd").with("a", "\n`\n").with("empty", "").archive.writeArchiveInFile(dir / "x");
    EXPECT_EQ(loadedAr(dir / "x"), (Contents{{"z", "odd"}, {"a", "\n`\n"}, {"empty", ""}}));
    EXPECT_EQ(outputOf("ar t " + (dir / "x") + "; ar p " + (dir / "x") + " z"), "z\na\nempty\nodd");
}

TEST(WritingAnArchive, KeepsADiskFilesAttributesAndStampsTheOthersWithTheLocalClock) {
    const TemporaryDirectory dir;
    const std::string file = dir.write("f", "x");
    const timespec times[] = {{1, 0}, {1234567890, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    ASSERT_EQ(chmod(file.c_str(), 04751), 0);
    const std::time_t ahead = 5 * 3600 + 1800;
    setenv("TZ", "BEX-05:30", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    const auto entries =
        entriesOf(Filled<TarGzArchive>().with("m", "1").withDisk(file, "f").withDisk(dir / "", "d/").written());
    unsetenv("TZ");
    tzset();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].mode, S_IFREG | 04751);
    EXPECT_EQ(entries[0].uid, static_cast<long>(getuid()));
    EXPECT_EQ(entries[1].mode, S_IFDIR | 0700);
    EXPECT_EQ(entries[0].mtime, 1234567890);
    EXPECT_GE(entries[2].mtime, before + ahead);
    EXPECT_LE(entries[2].mtime, std::time(nullptr) + ahead);
}

TEST(WritingAnArchive, LetsNoUnusableDiskFileHarmTheOthersOrBlock) {
    const TemporaryDirectory dir;
    const std::string good = dir.write("good", "good");
    ASSERT_EQ(mknod((dir / "fifo").c_str(), S_IFIFO | 0600, 0), 0);
    ASSERT_EQ(mknod((dir / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    fs::create_symlink("/dev/zero", dir / "device");
    fs::create_symlink(dir / "nowhere", dir / "broken");
    const std::string running = fs::read_symlink("/proc/self/exe");  // not even root may write to it
    const struct {
        std::string path;
        std::string name;
        Contents kept;
    } cases[] = {
        {dir / "vanished", "v", {}},
        {dir / "broken", "v", {}},
        {dir / "socket", "s", {}},
        {dir / "fifo", "p", {{"p", ""}}},
        {dir / "device", "z", {{"z", ""}}},
        {dir / "", "d", {{"d/", ""}}},
        {running, "e", {{"e", std::string(fs::file_size(running), '\0')}}},
        {dir.write("large", std::string(300000, 'l')), std::string(101, 'n'), {}},
    };
    for (const auto& c : cases) {
        Filled<TarGzArchive> tar;
        tar.withDisk(good, "before").withDisk(c.path, c.name).withDisk(good, "after").with("memory", "m");
        Contents expected{{"before", "good"}, {"after", "good"}, {"memory", "m"}};
        expected.insert(expected.begin() + 1, c.kept.begin(), c.kept.end());
        EXPECT_TRUE(contentsOf(tar.written()) == expected) << c.path;
    }
}

TEST(WritingAnArchive, SaysWhichPathOrNameItCannotWriteAndLeavesAPassedHandleAlone) {
    struct Opened : TarGzArchive {
        using Archive::loadArchive;
        using Archive::writeFilesToArchive;
        using TarGzArchive::xSetWriteFormat;
    };
    const TemporaryDirectory dir;
    const std::string name(300, 'n');
    const std::string refused = "Couldn't write header for file " + name;
    Filled<ArArchive> ar;
    ar.with("good", "1").with(name, "2");
    EXPECT_EQ(failureOf([&] { ar.archive.writeArchiveInFile(dir / "x"); }), refused);
    EXPECT_FALSE(fs::exists(dir / "x")) << "no half of an archive is left";
    EXPECT_EQ(failureOf([&] { ar.archive.writeArchiveInFile(dir / "missing/x"); }),
              "Can't write archive to file " + (dir / "missing/x") + ".");
    const std::tuple<std::string, std::size_t, std::string> cases[] = {
        {name, 1, refused},
        {"large", 1000000, "Couldn't write archive."},
        {"small", 1, "Can't close the archive."}};
    for (const auto& [entry, size, message] : cases) {
        const auto& givenName = entry;
        const std::size_t givenSize = size;
        Filled<Opened> tar;
        std::array<char, 20> buffer{};
        std::size_t used = 0;
        archive* a = archive_write_new();
        tar.archive.xSetWriteFormat(a);
        ASSERT_EQ(archive_write_open_memory(a, buffer.data(), buffer.size(), &used), ARCHIVE_OK);
        EXPECT_EQ(failureOf([&] { tar.with(givenName, noise(givenSize)).archive.writeFilesToArchive(a); }),
                  message);
        archive_write_free(a);  // libarchive ends the process when it was freed before
    }
    const std::string broken = tarEntry("x", "hello", '0', "77777777777");
    archive* a = archive_read_new();
    archive_read_support_format_tar(a);
    ASSERT_EQ(archive_read_open_memory(a, broken.data(), broken.size()), ARCHIVE_OK);
    EXPECT_EQ(failureOf([&] { Opened().loadArchive(a); }), "Archive::loadArchive : Can't load archive.");
    EXPECT_EQ(archive_read_free(a), ARCHIVE_OK);
}

TEST(AnArchive, FindsTheLastOfANameCopiesDeeplyAndListsAddresses) {
    Filled<TarGzArchive> tar;
    tar.with("n", "first").withDisk("/a", "name").with("m", "o").with("n", "last").withDisk("/b", "");
    const Contents expected{{"n", "first"}, {"m", "o"}, {"n", "last"}};
    EXPECT_EQ(copiesOf(tar.archive), expected);
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

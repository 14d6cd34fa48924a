#include "bex/stream/PackageWriter.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "Failure.hpp"
#include "bex/stream/PackageReader.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::PackageWriter;
using stream::WriteOptions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kLong(150, 'n');

/// A tree with one of each kind of thing, and a folder for packages beside it.
class PackageWriterTest : public testing::Test {
protected:
    PackageWriterTest() {
        folder_.write("tree/usr/bin/tool", "run\n");
        std::filesystem::create_hard_link(tree_ + "/usr/bin/tool", tree_ + "/usr/bin/same");
        std::filesystem::create_symlink("tool", tree_ + "/usr/bin/link");
        folder_.write("tree/usr/bin-x", "");
        folder_.write("tree/etc/tool.conf", "a=1\n");
        folder_.write("tree/etc/caf\xe9", "not UTF-8\n");
        folder_.write("tree/opt/" + kLong + "/" + kLong, "long\n");
        std::filesystem::create_symlink(kLong + "/" + kLong, tree_ + "/opt/link");
        std::filesystem::create_directory(tree_ + "/empty");
        outputOf("chmod -R u=rwX,go=rX " + tree_);  // whatever the umask
        chmod((tree_ + "/opt/" + kLong).c_str(), 0700);
        chmod((tree_ + "/usr/bin/tool").c_str(), 04755);
        writer_.addTree(tree_);
    }

    TemporaryDirectory folder_;
    const std::string tree_ = folder_ / "tree";
    const std::string package_ = folder_ / "tool.bex";
    PackageWriter writer_ = soundWriter();
};

TEST_F(PackageWriterTest, IsReadByOtherProgramsWithEveryCompression) {
    const std::string listing =
        "drwxr-xr-x root/root         0 2001-09-09 01:46 ./\n"
        "drwxr-xr-x root/root         0 2001-09-09 01:46 ./empty/\n"
        "drwxr-xr-x root/root         0 2001-09-09 01:46 ./etc/\n"
        "-rw-r--r-- root/root        10 2001-09-09 01:46 ./etc/caf\\351\n"
        "-rw-r--r-- root/root         4 2001-09-09 01:46 ./etc/tool.conf\n"
        "drwxr-xr-x root/root         0 2001-09-09 01:46 ./opt/\n"
        "lrwxrwxrwx root/root         0 2001-09-09 01:46 ./opt/link -> " +
        kLong + "/" + kLong + "\ndrwx------ root/root         0 2001-09-09 01:46 ./opt/" + kLong +
        "/\n-rw-r--r-- root/root         5 2001-09-09 01:46 ./opt/" + kLong + "/" + kLong +
        "\ndrwxr-xr-x root/root         0 2001-09-09 01:46 ./usr/\n"
        "drwxr-xr-x root/root         0 2001-09-09 01:46 ./usr/bin/\n"
        "lrwxrwxrwx root/root         0 2001-09-09 01:46 ./usr/bin/link -> tool\n"
        "-rwsr-xr-x root/root         4 2001-09-09 01:46 ./usr/bin/same\n"
        "hrwsr-xr-x root/root         0 2001-09-09 01:46 ./usr/bin/tool link to ./usr/bin/same\n"
        "-rw-r--r-- root/root         0 2001-09-09 01:46 ./usr/bin-x\n";
    for (const auto& [compression, suffix] :
         {std::pair(Compression::none, ""), std::pair(Compression::gzip, ".gz"), std::pair(Compression::xz, ".xz"),
          std::pair(Compression::zstd, ".zst")}) {
        SCOPED_TRACE(suffix);
        WriteOptions options = datedOptions();
        options.compression = compression;
        const stream::WriteResult result = writer_.write(package_, options);
        EXPECT_EQ(result.packageBytes, std::filesystem::file_size(package_));
        EXPECT_EQ(result.payloadBytes, 4 + 4 + 10 + 5U);
        EXPECT_EQ(result.entries, 15U);
        EXPECT_EQ(outputOf("ar t " + package_),
                  std::string("debian-binary\ncontrol.tar") + suffix + "\ndata.tar" + suffix + "\n");
        EXPECT_EQ(outputOf("ar p " + package_ + " debian-binary"), "2.0\n");
        EXPECT_EQ(outputOf("dpkg-deb --fsys-tarfile " + package_ + " | tar --full-time -tv | wc -l"), "15\n");
        EXPECT_EQ(outputOf("dpkg-deb --contents " + package_), listing);
        EXPECT_EQ(outputOf("ar p " + package_ + " data.tar" + suffix + " | bsdtar -tf - | wc -l"), "15\n");
        const std::string out = folder_ / ("out" + std::string(suffix));
        EXPECT_EQ(outputOf("dpkg-deb --raw-extract " + package_ + " " + out), "");
        EXPECT_EQ(outputOf("cd " + out +
                           " && md5sum --quiet -c DEBIAN/md5sums && rm -r DEBIAN && diff -r "
                           "--no-dereference . " +
                           tree_),
                  "");
    }
}

TEST_F(PackageWriterTest, StoresFieldsSizeSumsScriptsAndConffiles) {
    writer_.addControlMember("postinst", "#!/bin/sh\n");
    writer_.addControlMember("triggers", "interest x\n");
    for (const char* path : {"/etc/tool.conf", "./etc/caf\xe9", "etc/tool.conf"}) {
        writer_.addConffile(path);
    }
    writer_.addRemovedConffile("etc/gone");
    folder_.write("tool.bex", written(writer_, folder_));
    EXPECT_EQ(outputOf("dpkg-deb --field " + package_),
              "Package: tool\nVersion: 1.0\nArchitecture: all\nMaintainer: Ann Lee <ann@example.org>\n"
              "Description: a tool\n and its manual\n"
              "Installed-Size: 13\n");  // 7 directories, 2 symlinks, 4 files that are not empty, one counted once
    EXPECT_EQ(outputOf("dpkg-deb --ctrl-tarfile " + package_ + " | tar -tv"),
              "drwxr-xr-x root/root         0 2001-09-09 01:46 ./\n"
              "-rw-r--r-- root/root        53 2001-09-09 01:46 ./conffiles\n"
              "-rw-r--r-- root/root       138 2001-09-09 01:46 ./control\n"
              "-rw-r--r-- root/root       478 2001-09-09 01:46 ./md5sums\n"
              "-rwxr-xr-x root/root        10 2001-09-09 01:46 ./postinst\n"
              "-rw-r--r-- root/root        11 2001-09-09 01:46 ./triggers\n");
    const auto member = [&](const char* name) { return outputOf("dpkg-deb --info " + package_ + " " + name); };
    EXPECT_EQ(member("conffiles"), "/etc/tool.conf\n/etc/caf\xe9\nremove-on-upgrade /etc/gone\n");
    EXPECT_EQ(member("md5sums"),
              outputOf("cd " + tree_ + " && md5sum opt/*/* usr/bin/same usr/bin/tool usr/bin-x"));

    WriteOptions plain = datedOptions();
    plain.md5sums = false;
    plain.installedSize = false;
    folder_.write("tool.bex", written(writer_, folder_, plain));
    EXPECT_EQ(outputOf("dpkg-deb --ctrl-tarfile " + package_ + " | tar -t | grep -c md5sums || true"), "0\n");
    EXPECT_EQ(outputOf("dpkg-deb --field " + package_ + " Installed-Size"), "\n");
    writer_.control().set("Installed-Size", "77");
    folder_.write("tool.bex", written(writer_, folder_));
    EXPECT_EQ(outputOf("dpkg-deb --field " + package_ + " Installed-Size"), "77\n")
        << "the caller's own value stays";
}

TEST_F(PackageWriterTest, NamesAllControlFaultsBeforeItOpensAnything) {
    FailingSystem system;
    PackageWriter writer(system);
    writer.control().set("Package", "T");
    writer.control().set("Version", "1 0");
    const std::string failure = failureOf([&] { writer.write(package_); });
    for (const char* field : {"Package", "Version", "Architecture", "Maintainer", "Description"}) {
        EXPECT_THAT("\n" + failure, HasSubstr(std::string("\ncontrol: ") + field));
    }
    EXPECT_THAT(system.log(), testing::IsEmpty());
}

TEST_F(PackageWriterTest, RefusesControlMembersAndModesThatCantBe) {
    writer_.addControlMember("md5sums", "");
    writer_.addControlMember("shlibs", "");
    EXPECT_EQ(failureOf([&] { writer_.write(package_); }), "md5sums: is both given and to be made");
    for (const auto& [name, reason] :
         {std::pair("control", "is made by the writer"), std::pair("conffiles", "is made by the writer"),
          std::pair("shlibs", "is given twice"), std::pair("..", "is no plain file name"),
          std::pair("a/b", "is no plain file name"), std::pair("", "is no plain file name")}) {
        EXPECT_EQ(failureOf([name = name, this] { writer_.addControlMember(name, ""); }),
                  std::string("control member \"") + name + "\": " + reason);
    }
    EXPECT_EQ(failureOf([&] { writer_.setMode("*", 010000); }), "\"*\": mode with more than 07777");
    EXPECT_EQ(failureOf([&] { writer_.addBytes("", "x", {01000644, {}}); }), "\"x\": mode with more than 07777");
}

TEST_F(PackageWriterTest, RefusesOptionsThatCantBeAndLeavesTheTargetAlone) {
    folder_.write("tool.bex", "old");
    const struct {
        Compression compression;
        int level;
        std::size_t blockBytes;
    } cases[] = {{Compression::gzip, 13, 4096}, {Compression::gzip, -1, 4096}, {Compression::zstd, 20, 4096},
                 {Compression::xz, 10, 4096},   {Compression::gzip, 6, 0},     {Compression::bzip2, 6, 4096}};
    for (const auto& c : cases) {
        WriteOptions options;
        options.compression = c.compression;
        options.level = c.level;
        options.blockBytes = c.blockBytes;
        EXPECT_THAT(failureOf([&] { writer_.write(package_, options); }), StartsWith("compression "));
    }
    EXPECT_EQ(folder_.read("tool.bex"), "old");
    EXPECT_THAT(namesIn(folder_.path()), ElementsAre("tool.bex", "tree"));
}

TEST_F(PackageWriterTest, RefusesAPayloadThatArCantHoldBeforeItReadsIt) {
    FailingSystem system;
    PackageWriter writer = soundWriter(system);
    std::filesystem::resize_file(folder_.write("huge", ""), 9999999999 - 1000);
    writer.addFile(folder_ / "huge", "huge");
    for (const Compression compression : {Compression::none, Compression::gzip}) {
        WriteOptions options;
        options.compression = compression;
        options.level = 0;
        EXPECT_EQ(failureOf([&] { writer.write(package_, options); }),
                  "member \"data.tar" + std::string(suffixOf(compression)) +
                      "\": more than the 9999999999 bytes that a member of an ar archive can have");
    }
    EXPECT_EQ(system.count("openat"), 0U);
}

TEST_F(PackageWriterTest, ComparesWhatWasWrittenWithWhatWasMeant) {
    const std::string late = folder_.write("late", "in time\n");
    writer_.addFile(late, "late", {0640, 5});
    writer_.write(package_, datedOptions());
    EXPECT_THAT(outputOf("dpkg-deb --contents " + package_),
                HasSubstr("-rw-r----- root/root         8 1970-01-01"));
    const auto comparison = [&](const WriteOptions& options) {
        stream::PackageReader package(package_);
        return failureOf([&] { writer_.compare(package, options); });
    };
    EXPECT_EQ(comparison(datedOptions()), "");
    WriteOptions earlier = datedOptions();
    earlier.latestTime = 5;
    EXPECT_EQ(comparison(earlier), "./: was written with another time");

    struct stat before {};
    stat(late.c_str(), &before);
    folder_.write("late", "too late");
    const timespec times[] = {before.st_atim, before.st_mtim};
    utimensat(AT_FDCWD, late.c_str(), times, 0);
    EXPECT_EQ(comparison(datedOptions()), "./late: what was written differs from its source");
    writer_.addBytes("", "zz");
    folder_.write("late", "gone");
    EXPECT_EQ(comparison(datedOptions()), late + ": shrank after it was listed");
    utimensat(AT_FDCWD, folder_.write("late", "in time\n").c_str(), times, 0);
    EXPECT_EQ(comparison(datedOptions()), "./zz: is missing in what was written");
    writer_.setMode("usr/bin-x", 0600);
    EXPECT_EQ(comparison(datedOptions()), "./usr/bin-x: was written with another mode");
}

TEST_F(PackageWriterTest, AnEmptyPackageHoldsTheRoot) {
    folder_.write("tool.bex", written(soundWriter(), folder_));
    EXPECT_EQ(outputOf("dpkg-deb --contents " + package_), "drwxr-xr-x root/root         0 2001-09-09 01:46 ./\n");
}

}  // namespace
}  // namespace bex::test

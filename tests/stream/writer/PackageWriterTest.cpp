#include "bex/stream/PackageWriter.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Attributes;
using stream::Compression;
using stream::Entry;
using stream::PackageReader;
using stream::PackageWriter;
using stream::WriteOptions;
using testing::ElementsAre;

/// "TYPE MODE OWNER:GROUP PATH>TARGET=CONTENTS" of each entry but the root, the type as tar's letter.
std::vector<std::string> shown(PackageReader& reader) {
    std::vector<std::string> lines;
    for (Entry entry; reader.next(entry);) {
        std::string contents(static_cast<std::size_t>(entry.size), '\0');
        reader.read(contents.data(), contents.size());
        const auto number = [](std::uint64_t id) { return '(' + std::to_string(id) + ')'; };
        if (entry.path != "./") {
            lines.push_back("-dlh"[static_cast<std::size_t>(entry.type)] + (' ' + octal(entry.mode, 4)) + ' ' +
                            entry.owner + number(entry.uid) + ':' + entry.group + number(entry.gid) + ' ' +
                            entry.path + '>' + entry.linkTarget + '=' + contents);
        }
    }
    return lines;
}

TEST(PackageWriter, StoresContentsAttributesAndLinksFromEverywhere) {
    const TemporaryDirectory folder;
    folder.write("real", "by link");
    std::filesystem::create_symlink("real", folder / "link");
    const std::string half = folder.write("half", "not this, but this");
    const stream::Descriptor file(open(half.c_str(), O_RDONLY | O_CLOEXEC), stream::System::real());
    lseek(file.get(), 10, SEEK_SET);
    const stream::Descriptor first = pipeOf("first pipe");
    const stream::Descriptor second = pipeOf("second pipe");
    const Attributes daemons{0640, 5, 33, 42, "www-data", "shadow"};
    PackageWriter writer = soundWriter();
    writer.addHardlink("z/contents", "a");  // sorts before its file, which then becomes the link
    writer.addHardlink("/b", "c");
    writer.addHardlink("./a", "b");
    writer.addContents(
        9,
        [](std::uint64_t offset, char* buffer, std::size_t size) {
            return std::string("a callback").copy(buffer, std::min<std::size_t>(size, 4), offset);
        },
        "z/contents", daemons);
    writer.addDescriptor(file.get(), "d");
    writer.addDescriptor(first.get(), "e");
    writer.addFile("/proc/self/fd/" + std::to_string(second.get()), "f");
    writer.addFile(folder / "link", "g", {0600});
    writer.addSymlink("x", "h", daemons);
    writer.addDirectory("z", daemons);
    WriteOptions options = datedOptions();
    options.check = true;  // which reads all of it again
    writer.write(folder / "x.bex", options);
    PackageReader reader(folder / "x.bex");
    EXPECT_THAT(shown(reader), ElementsAre("- 0640 www-data(33):shadow(42) ./a>=a callbac",  //
                                           "h 0640 www-data(33):shadow(42) ./b>./a=",        //
                                           "h 0640 www-data(33):shadow(42) ./c>./a=",        //
                                           "- 0644 root(0):root(0) ./d>=but this",           //
                                           "- 0644 root(0):root(0) ./e>=first pipe",         //
                                           "- 0644 root(0):root(0) ./f>=second pipe",        //
                                           "- 0600 root(0):root(0) ./g>=by link",            //
                                           "l 0777 www-data(33):shadow(42) ./h>x=",          //
                                           "d 0640 www-data(33):shadow(42) ./z/>=",          //
                                           "h 0640 www-data(33):shadow(42) ./z/contents>./a="));
    EXPECT_EQ(outputOf("dpkg-deb --fsys-tarfile " + (folder / "x.bex") + " | tar -xO ./a"), "a callbac");
    EXPECT_THAT(stream::verify(folder / "x.bex"), testing::IsEmpty());

    writer.addHardlink("y", "x");
    writer.addHardlink("x", "y");
    EXPECT_EQ(failureOf([&] { writer.plan(); }),
              "contents from memory: ./x: is a hard link to \"./y\", which is not a regular file of the package");
    PackageWriter broken = soundWriter();
    broken.addContents(
        3, [](std::uint64_t offset, char*, std::size_t) { return std::size_t{offset == 0}; }, "x");
    EXPECT_EQ(failureOf([&] { written(broken, folder); }),
              "contents from memory: x: its contents end after 1 of 3 bytes");
}

TEST(PackageWriter, TakesOverEntriesAndControlOfAPackage) {
    const TemporaryDirectory folder;
    PackageWriter writer = soundWriter();
    writer.addBytes("1", "b", {04755, 7, 5, 6, "games", "man"});
    writer.addHardlink("b", "a/first");
    writer.addBytes("2", "etc/x");
    writer.addSymlink("b", "s");
    writer.addConffile("etc/x");
    writer.addRemovedConffile("etc/old");
    writer.addControlMember("postinst", "#!/bin/sh\n");
    folder.write("x.bex", written(writer, folder));
    const auto again = [&](const std::function<bool(const Entry&)>& filter) {
        PackageReader source(folder / "x.bex");
        PackageWriter copy;
        copy.addControl(source);
        copy.add(source, filter);
        return written(copy, folder);
    };
    EXPECT_TRUE(again(nullptr) == folder.read("x.bex"));
    EXPECT_EQ(failureOf([&] { again([](const Entry& entry) { return entry.path != "./a/first"; }); }),
              "contents from memory: ./b: is a hard link to \"./a/first\", "
              "which is not a regular file of the package");
}

/// Writes other bytes than it was given, wherever these stand.
class LyingSystem : public stream::System {
public:
    ssize_t write(int descriptor, const void* data, std::size_t size) override {
        if (whenWritten &&
            std::string_view(static_cast<const char*>(data), size).find("data.tar") != std::string::npos) {
            whenWritten();
        }
        std::string bytes(static_cast<const char*>(data), size);
        for (auto at = bytes.find(needle); !needle.empty() && at != std::string::npos; at = bytes.find(needle)) {
            bytes[at] = '!';
        }
        return System::write(descriptor, bytes.data(), bytes.size());
    }

    std::string needle;
    std::function<void()> whenWritten;  ///< called once the payload is complete
};

TEST(PackageWriter, ComparesWhatWasWrittenWithItsSourcesBeforeItAppears) {
    const TemporaryDirectory folder;
    const std::string late = folder.write("late", "in time\n");
    const std::string target = folder.write("x.bex", "old");
    LyingSystem system;
    PackageWriter writer = soundWriter(system);
    writer.addFile(late, "late");
    writer.addControlMember("postinst", "#!/bin/sh\n");
    WriteOptions options = datedOptions();
    options.compression = Compression::none;
    options.check = true;
    const std::pair<const char*, std::string> cases[] = {
        {"in time", target + ": ./late: differs from its source"},
        {"bin/sh", target + ": ./postinst: differs from its source"},
        {"Package", target + ": ./control: differs from its source"}};
    for (const auto& [needle, message] : cases) {
        system.needle = needle;
        EXPECT_EQ(failureOf([&] { writer.write(target, options); }), message);
        EXPECT_EQ(folder.read("x.bex"), "old");
    }
    system.needle = "";
    std::uint64_t last = 0;
    options.progress = [&](const stream::Progress& progress) {
        EXPECT_EQ(progress.bytesTotal, 16U);
        last = progress.bytesDone;
        return true;
    };
    writer.write(target, options);
    EXPECT_EQ(last, 16U) << "contents are read twice, and counted twice";
    system.whenWritten = [&] { folder.write("late", "too late"); };
    EXPECT_EQ(failureOf([&] { writer.write(target, options); }), late + ": changed after it was listed");
}

TEST(PackageWriter, RefusesControlMembersThatDpkgRefuses) {
    const struct {
        const char* name;
        const char* contents;
        const char* message;  ///< "" where it is written, with a note
    } cases[] = {
        {"triggers", "bogus x\n", "triggers: line 1 has the unknown directive \"bogus\""},
        {"triggers", "interest a b\n", "triggers: line 1 has the invalid trigger name \"a b\""},
        {"postinst", "#!/bin/sh\r\n", "postinst: the first line ends with a carriage return"},
        {"config", "#!sh\n", "config: the interpreter \"sh\" is not an absolute path"},
        {"prerm", "exit 0\n", ""},
    };
    const TemporaryDirectory folder;
    for (const auto& [name, contents, message] : cases) {
        PackageWriter writer = soundWriter();
        writer.addControlMember(name, contents);
        WriteOptions options = datedOptions();
        for (const bool dryRun : {true, false}) {
            options.dryRun = dryRun;
            std::size_t notes = 0;
            EXPECT_EQ(failureOf([&] { notes = writer.write(folder / "x.bex", options).notes.size(); }), message);
            EXPECT_EQ(notes, *message == '\0' ? 1U : 0U);
        }
    }
    // dpkg does not read longer lines, the "/" and the newline included.
    PackageWriter writer = soundWriter();
    for (const std::size_t size : std::initializer_list<std::size_t>{995, 996}) {
        std::string path = "etc";
        while (path.size() + 100 < size) {
            path += '/' + std::string(99, 'd');
        }
        path += '/' + std::string(size - path.size() - 1, 'd');
        writer.addBytes("", path);
        writer.addConffiles("/" + path);
        EXPECT_EQ(failureOf([&] { written(writer, folder); }).substr(0, 9), size == 995 ? "" : "conffiles");
    }
}

TEST(PackageWriter, ShowsTheFilesOfTheControlArchiveBeforeTheyExist) {
    const TemporaryDirectory folder;
    PackageWriter writer = soundWriter();
    writer.addBytes("a", "usr/a");
    writer.addHardlink("usr/a", "usr/b");
    writer.addBytes("c", "etc/c");
    writer.addConffile("etc/c");
    writer.addControlMember("prerm", "#!/bin/sh\n");
    WriteOptions options = datedOptions();
    options.commonTime = 7;
    std::vector<std::string> files;
    options.onControlFile = [&](const Entry& entry, std::string_view contents) {
        EXPECT_EQ(entry.mtime, 7);
        EXPECT_EQ(contents.size(), options.dryRun && entry.path == "./md5sums" ? 0 : entry.size);
        files.push_back(octal(entry.mode, 4) + ' ' + entry.path + ' ' + std::to_string(entry.size));
    };
    options.dryRun = true;
    writer.write(folder / "x.bex", options);
    const std::vector<std::string> planned = std::exchange(files, {});
    EXPECT_THAT(planned, ElementsAre("0644 ./conffiles 7", testing::StartsWith("0644 ./control "),
                                     "0644 ./md5sums 80", "0755 ./prerm 10"));
    options.dryRun = false;
    options.check = true;
    writer.write(folder / "x.bex", options);
    EXPECT_EQ(files, planned);
    for (const Entry& entry : writer.plan(options)) {
        EXPECT_EQ(entry.mtime, 7) << entry.path;  // nothing of this package has a time of its own
    }
}

TEST(PackageWriter, NotesWhatOthersCannotDo) {
    const TemporaryDirectory folder;
    PackageWriter writer = soundWriter();
    writer.addBytes("", std::string(247, 'n'));
    writer.addDirectory(std::string(246, 'n'));
    WriteOptions options = datedOptions();
    const auto notes = [&] {
        std::vector<std::string> texts;
        for (const stream::Finding& note : writer.write(folder / "x.bex", options).notes) {
            texts.push_back(note.code + ' ' + note.limit + ' ' + note.entry.substr(0, 4));
        }
        return texts;
    };
    options.dryRun = true;
    EXPECT_THAT(notes(), ElementsAre("path-long  ./nn"));
    EXPECT_THAT(namesBelow(folder.path()), ElementsAre());
    options.dryRun = false;
    writer.addBytes("", std::string(65536, 'n'));
    writer.addControlMember("templates", std::string(32 << 20, 't'));
    EXPECT_THAT(notes(),
                ElementsAre("path-long  ./nn", "path-long  ./nn", "limit nameBytes ./nn", "limit controlBytes "));
}

}  // namespace
}  // namespace bex::test

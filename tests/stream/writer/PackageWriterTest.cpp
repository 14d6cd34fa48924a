#include "bex/stream/PackageWriter.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
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

TEST(PackageWriter, RefusesWhatCantBeAPackageBeforeItOpensAnything) {
    const TemporaryDirectory folder;
    FailingSystem system;
    std::filesystem::resize_file(folder.write("huge", ""), 9999999999 - 1000);
    const std::string tooLarge = ": more than the 9999999999 bytes that a member of an ar archive can have";
    const struct {
        std::function<void(PackageWriter&, WriteOptions&)> spoil;
        std::string failure;
    } cases[] = {
        {[](auto& writer, auto&) { writer.control() = {}; },
         "control: Package is missing\ncontrol: Version is missing\ncontrol: Architecture is missing\n"
         "control: Maintainer is missing\ncontrol: Description is missing"},
        {[&](auto& writer, auto& options) {
             writer.addFile(folder / "huge", "huge");
             options.compression = Compression::none;
         },
         "member \"data.tar\"" + tooLarge},
        {[&](auto& writer, auto& options) {
             writer.addFile(folder / "huge", "huge");
             options.level = 0;
         },
         "member \"data.tar.gz\"" + tooLarge},
    };
    for (const auto& c : cases) {
        PackageWriter writer = soundWriter(system);
        WriteOptions options;
        c.spoil(writer, options);
        EXPECT_EQ(failureOf([&] { writer.write(folder / "tool.bex", options); }), c.failure);
    }
    EXPECT_EQ(system.count("openat"), 0U);
}

TEST(PackageWriter, ComparesWhatWasWrittenWithWhatWasMeant) {
    const TemporaryDirectory folder;
    const std::string late = folder.write("late", "in time\n");
    struct stat before {};
    stat(late.c_str(), &before);
    const timespec times[] = {before.st_atim, before.st_mtim};
    PackageWriter writer = soundWriter();
    writer.addFile(late, "late", {0640, 5});
    WriteOptions options = datedOptions();
    options.installedSize = false;
    writer.write(folder / "tool.bex", options);
    const auto comparison = [&] {
        stream::PackageReader package(folder / "tool.bex");
        EXPECT_EQ(package.control().find("Installed-Size"), nullptr);
        return failureOf([&] { writer.compare(package, options); });
    };
    EXPECT_EQ(comparison(), "");
    folder.write("late", "too late");
    utimensat(AT_FDCWD, late.c_str(), times, 0);
    EXPECT_EQ(comparison(), "./late: what was written differs from its source");
    folder.write("late", "gone");
    EXPECT_EQ(comparison(), late + ": shrank after it was listed");
    utimensat(AT_FDCWD, folder.write("late", "in time\n").c_str(), times, 0);
    writer.addBytes("", "zz");
    EXPECT_EQ(comparison(), "./zz: is missing in what was written");
    writer.setMode("late", 0600);
    EXPECT_EQ(comparison(), "./late: was written with another mode");
    options.latestTime = 4;
    EXPECT_EQ(comparison(), "./: was written with another time");
}

}  // namespace
}  // namespace bex::test

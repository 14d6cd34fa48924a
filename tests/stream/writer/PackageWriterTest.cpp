#include "bex/stream/PackageWriter.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>

#include "Failure.hpp"
#include "bex/stream/PackageReader.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::PackageWriter;
using stream::WriteOptions;

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

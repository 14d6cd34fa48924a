#include <gmock/gmock.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::AnyOf;
using testing::StartsWith;

constexpr std::size_t kMegabyte = 1000000;
const char* const kCannotClose = "Can't close the archive.";
const auto kWriteFailure =
    AnyOf(kCannotClose, "Couldn't write archive.", StartsWith("Couldn't write header for file "));

TEST(Capacity, APackageOfIncompressibleFilesIsWholeOrItsCloseFails) {
    const Contents small{{"1", "1"}, {"2", "2"}};
    const Contents balancing{{"1", std::string(50000, '1')}, {"2", std::string(50000, '2')}};
    const struct {
        std::size_t size;
        Contents beside;
        bool isFirst;
        bool fits;
    } cases[] = {
        {400000, {}, true, true},
        {kMegabyte, {}, true, false},
        {kMegabyte, small, false, true},
        {6 * kMegabyte, small, false, false},
        {6 * kMegabyte, balancing, false, true},
    };
    for (const auto& c : cases) {
        Contents contents = c.beside;
        contents.emplace(c.isFirst ? contents.begin() : contents.end(), "big", noise(c.size));
        for (const bool onDisk : {true, false}) {
            SCOPED_TRACE(testing::Message() << c.size << " beside " << c.beside.size() << ", on disk " << onDisk);
            const TemporaryDirectory dir;
            Package package(dir / "p.bex");
            package.withFields();
            for (const auto& [name, bytes] : contents) {
                onDisk ? package.add(dir.write(name, bytes), name) : package.add(newRecord(name, bytes));
            }
            const CapturedOutput output;
            const std::string failure = failureOf([&] { package.close(); });
            EXPECT_EQ(fs::exists(dir / "p.bex"), c.fits);
            EXPECT_EQ(output.text().empty(), !c.fits);
            if (c.fits) {
                EXPECT_TRUE(contentsOf(memberOf(dir / "p.bex", "data.tar.gz")) == contents) << failure;
            } else {
                EXPECT_THAT(failure, kWriteFailure);
                EXPECT_TRUE(!onDisk || failure == kCannotClose) << failure;
            }
        }
    }
}

TEST(Capacity, DirectoriesAndEmptyFilesFit) {
    const TemporaryDirectory dir;
    Filled<TarGzArchive> tar;
    tar.withDisk(dir.write("empty", ""), "empty");
    for (int i = 0; i < 101; ++i) {  // an odd number: overflowing lengths must not cancel out
        tar.withDisk(dir / "", "d");
    }
    EXPECT_EQ(contentsOf(tar.written()).size(), 102U);
}

TEST(Capacity, AFullDeviceIsNeverASuccess) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{100}, kMegabyte}) {
        Filled<ArArchive> ar;
        ar.with("file", noise(size));
        EXPECT_THAT(failureOf([&] { ar.archive.writeArchiveInFile("/dev/full"); }), kWriteFailure) << size;
    }
    const TemporaryDirectory dir;
    Package package(dir / "full.bex");
    package.withFields().with("file", "1");
    fs::create_symlink("/dev/full", dir / "full.bex");
    const CapturedOutput output;
    EXPECT_EQ(failureOf([&] { package.close(); }), kCannotClose) << "all of it waits in a buffer until the close";
    EXPECT_EQ(output.text(), "");
}

}  // namespace
}  // namespace bex::test

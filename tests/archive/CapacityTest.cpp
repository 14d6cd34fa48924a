#include <gmock/gmock.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

const char* const kCannotClose = "Can't close the archive.";

auto isAWriteFailure() {
    return testing::AnyOf(kCannotClose, "Couldn't write archive.",
                          testing::StartsWith("Couldn't write header for file "));
}

/// Bytes that do not compress, at a place among files of `besideSize` bytes that do.
struct Incompressible {
    std::size_t size;
    enum { alone, first, last } place;
    std::size_t besideSize;
    bool fits;
};

Contents contentsFor(const Incompressible& c) {
    Contents contents;
    if (c.place != Incompressible::alone) {
        contents = {{"1", std::string(c.besideSize, '1')}, {"2", std::string(c.besideSize, '2')}};
    }
    contents.emplace(c.place == Incompressible::last ? contents.end() : contents.begin(), "big",
                     randomBytes(c.size));
    return contents;
}

constexpr std::size_t kMegabyte = 1000000;

const Incompressible kCases[] = {
    {400000, Incompressible::alone, 0, true},          {kMegabyte, Incompressible::alone, 0, false},
    {kMegabyte, Incompressible::first, 10, true},      {kMegabyte, Incompressible::last, 10, true},
    {20 * kMegabyte, Incompressible::alone, 0, false}, {20 * kMegabyte, Incompressible::first, 10, false},
    {20 * kMegabyte, Incompressible::last, 10, false}, {20 * kMegabyte, Incompressible::last, 50000, true},
};

void expectEachWholeOrRefused(bool onDisk) {
    for (const Incompressible& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.size << " bytes at place " << c.place << " beside " << c.besideSize);
        const Contents contents = contentsFor(c);
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
            EXPECT_THAT(failure, isAWriteFailure());
            EXPECT_TRUE(!onDisk || failure == kCannotClose) << failure;
        }
    }
}

TEST(Capacity, APackageOfFilesOnDiskIsWholeOrTheCloseFails) {
    expectEachWholeOrRefused(true);
}

TEST(Capacity, APackageOfFilesInMemoryIsWholeOrTheCloseFails) {
    expectEachWholeOrRefused(false);
}

TEST(Capacity, AHandleThatDiedIsReportedWhateverFollows) {
    const TemporaryDirectory dir;
    Filled<TarGzArchive> tar;
    tar.withDisk(dir.write("big", randomBytes(3 * kMegabyte)), "big").with("small", "s");
    EXPECT_THAT(failureOf([&] { tar.written(); }), isAWriteFailure());

    Package package(dir / "p.bex");
    package.withFields().setDescription(randomBytes(kMegabyte));
    package.add(dir.write("small", "s"), "small");
    EXPECT_THAT(failureOf([&] { package.close(); }), isAWriteFailure()) << "the control file outgrows its archive";
    EXPECT_FALSE(fs::exists(dir / "p.bex"));
}

TEST(Capacity, DirectoriesAndEmptyFilesFit) {
    const TemporaryDirectory dir;
    for (int i = 0; i < 100; ++i) {
        dir.write("t/" + std::to_string(i) + "/empty", "");
    }
    Package package(dir / "p.bex");
    package.withFields().add(dir / "t", "t");
    const CapturedOutput output;
    EXPECT_EQ(failureOf([&] { package.close(); }), "");
    EXPECT_EQ(contentsOf(memberOf(dir / "p.bex", "data.tar.gz")).size(), 201U);
}

template <typename Kind>
std::string failureOnFullDevice(std::size_t size) {
    Filled<Kind> filled;
    filled.with("file", randomBytes(size));
    return failureOf([&] { filled.archive.writeArchiveInFile("/dev/full"); });
}

TEST(Capacity, AFullDeviceIsNeverASuccess) {
    ASSERT_TRUE(fs::is_character_file("/dev/full"));
    for (const std::size_t size : {std::size_t{0}, std::size_t{100}, kMegabyte}) {
        EXPECT_THAT(failureOnFullDevice<ArArchive>(size), isAWriteFailure()) << size;
        EXPECT_THAT(failureOnFullDevice<TarGzArchive>(size), isAWriteFailure()) << size;
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

#include "stream/writer/Spool.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Archives.hpp"
#include "Failure.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Spool;

TEST(Spool, GivesBackWhatItTookAndStopsAtTheLimitBeforeTheDiskIsReached) {
    const TemporaryDirectory folder;
    FailingSystem system;
    Spool spool(folder.path().string(), "data.tar", system, 900000);
    std::string expected;
    for (std::size_t size = 1; expected.size() + size <= 900000; size = size * 3 + 1) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        spool.write(piece.data(), piece.size());
        expected += piece;
    }
    EXPECT_EQ(spool.size(), expected.size());
    const std::size_t writes = system.count("write");
    EXPECT_EQ(failureOf([&] { spool.write(expected.data(), 900001 - expected.size()); }),
              "member \"data.tar\": more than the 900000 bytes that a member of an ar archive can have");
    EXPECT_EQ(system.count("write"), writes);
    EXPECT_THAT(namesBelow(folder.path().string()), testing::IsEmpty());
    std::string back;
    spool.moveTo([&](std::string_view piece) { back += piece; });
    EXPECT_TRUE(back == expected);
}

/// Knows which blocks its files have.
class CountingSystem : public stream::System {
public:
    int openat(int directory, const char* path, int flags, mode_t mode) override {
        const int opened = System::openat(directory, path, flags, mode);
        if ((flags & O_TMPFILE) == O_TMPFILE && opened >= 0) {
            files_.push_back(opened);
        }
        return opened;
    }
    ssize_t write(int descriptor, const void* data, std::size_t size) override {
        const ssize_t count = System::write(descriptor, data, size);
        std::uint64_t bytes = 0;
        for (const int file : files_) {
            struct stat status {};
            bytes += fstat(file, &status) == 0 ? static_cast<std::uint64_t>(status.st_blocks) * 512 : 0;
        }
        most = std::max(most, bytes);
        return count;
    }

    std::uint64_t most = 0;  ///< bytes on disk at any moment

private:
    std::vector<int> files_;
};

TEST(Spool, LeavesRoomForThePackageItIsWrittenInto) {
    const TemporaryDirectory folder;
    CountingSystem system;
    stream::PackageWriter writer = soundWriter(system);
    writer.addBytes(noise(20 << 20), "x");
    stream::WriteOptions options = datedOptions();
    options.compression = stream::Compression::none;
    const std::uint64_t size = writer.write(folder / "x.bex", options).packageBytes;
    EXPECT_GT(system.most, size / 2) << "the files are seen";
    EXPECT_LT(system.most, size / 10 * 11);
}

}  // namespace
}  // namespace bex::test

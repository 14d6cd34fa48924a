#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/repo/Scan.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "repo/scan/PackageFile.hpp"
#include "repo/scan/ScanCache.hpp"

namespace bex::repo {
namespace {

using test::failureOf;
using test::TemporaryDirectory;

/// A package with a payload of so many bytes, which no compression makes fewer.
std::string makePackage(const TemporaryDirectory& folder, std::size_t bytes) {
    stream::PackageWriter package;
    package.control().set("Package", "demo");
    package.control().set("Version", "1");
    package.control().set("Architecture", "all");
    package.control().set("Maintainer", "Ann Lee <ann@example.org>");
    package.control().set("Description", "d");
    std::string contents(bytes, '\0');
    std::uint32_t noise = 1;
    for (char& c : contents) {
        noise = noise * 1664525 + 1013904223;
        c = static_cast<char>(noise >> 24);
    }
    package.addBytes(contents, "usr/share/noise");
    package.write(folder / "demo.deb");
    return folder / "demo.deb";
}

/// Runs the action until it fails, while `change` is called again and again in another thread. "" where it never
/// fails: on a busy machine the other thread may miss some runs, but not all of so many.
template <typename Change, typename Action>
std::string failureWhile(Change change, Action action) {
    std::atomic<bool> begun{false};
    std::atomic<bool> over{false};
    std::thread changing([&] {
        for (int i = 0; !over; ++i) {
            change(i);
            begun = true;
        }
    });
    while (!begun) {
        std::this_thread::yield();
    }
    std::string failure;
    for (int run = 0; run < 1000 && failure.empty(); ++run) {
        failure = failureOf(action);
    }
    over = true;
    changing.join();
    return failure;
}

TEST(PackageFile, ThatChangesWhileItIsReadIsRefused) {
    const TemporaryDirectory folder;
    const std::string path = makePackage(folder, 8 << 20);
    PackageFileReader reader({}, {});
    FileStamp stamp;
    const auto read = [&] { reader.read(path, "demo.deb", stamp); };
    EXPECT_EQ(failureOf(read), "");
    const auto touch = [&](int i) {
        const timespec times[] = {{i, 0}, {i, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    };
    EXPECT_EQ(failureWhile(touch, read), "demo.deb: changed while it was read");
    std::filesystem::copy_file(path, folder / "other");
    // Two files take turns under the name: each rename gives it another inode.
    const auto replace = [&](int) {
        std::filesystem::copy_file(folder / "other", folder / "new");
        std::filesystem::rename(folder / "new", path);
    };
    EXPECT_EQ(failureWhile(replace, read), "demo.deb: changed while it was read");
    EXPECT_EQ(failureOf(read), "");
}

TEST(ScanCache, CountsOnlyForTheSameFileAndEnoughDigests) {
    const TemporaryDirectory folder;
    PackageRecord record;
    record.package = "demo";
    record.digests = {"m", "", "s", ""};
    record.before = "Package: demo\n";
    const FileStamp stamp{10, 20, 30, 40};
    {
        ScanCache cache(folder / "c");
        cache.put("/p", stamp, record);
        EXPECT_FALSE(cache.find("/p", stamp, {})) << "before the transaction";
        EXPECT_EQ(cache.finish(), "");
    }
    ScanCache cache(folder / "c");
    const auto found = cache.find("/p", stamp, {true, false, false});
    ASSERT_TRUE(found);
    EXPECT_EQ(found->before, record.before);
    EXPECT_EQ(found->size, 10U);
    EXPECT_EQ(found->digests.md5, "m");
    EXPECT_EQ(cache.find("/p", stamp, {})->digests.md5, "");
    EXPECT_FALSE(cache.find("/p", stamp, {false, true, false}));
    EXPECT_FALSE(cache.find("/q", stamp, {}));
    EXPECT_FALSE(cache.find("/p", {11, 20, 30, 40}, {}));
    EXPECT_FALSE(cache.find("/p", {10, 21, 30, 40}, {}));
    EXPECT_FALSE(cache.find("/p", {10, 20, 31, 40}, {}));
    // Modified just now: the next write may leave the same time.
    const auto path = folder.write("fresh", "x");
    cache.put("/fresh", stampAt(path, "fresh"), record);
    cache.finish();
    EXPECT_FALSE(cache.find("/fresh", stampAt(path, "fresh"), {}));
}

/// The cache is overwritten while it is open, and the scan gives what it gives without one.
TEST(ScanCache, ThatIsDamagedIsLeftAlone) {
    const TemporaryDirectory folder;
    const std::string path = makePackage(folder, 100);
    const timespec times[] = {{1, 0}, {1, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
    ScanOptions options;
    options.root = folder.path().string();
    options.inputs = {"demo.deb"};
    const ScanReport expected = scan(options);
    options.cache = folder / "cache";
    scan(options);
    std::fstream file(folder / "cache", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(8192, '\x7f');
    file.close();
    std::filesystem::remove(folder / "cache-wal");
    const ScanReport report = scan(options);
    ASSERT_EQ(report.notes.size(), 1U);
    EXPECT_THAT(report.notes.front(), testing::StartsWith("went on without the cache: "));
    ASSERT_EQ(report.records.size(), 1U);
    EXPECT_EQ(report.records.front().digests.sha256, expected.records.front().digests.sha256);
}

}  // namespace
}  // namespace bex::repo

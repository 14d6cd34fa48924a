#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/system/Surroundings.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::PackageWriter;
using stream::Progress;
using stream::WriteOptions;
using testing::HasSubstr;

class WriterFaults : public testing::Test {
protected:
    WriterFaults() {
        folder_.write("tree/sub/file", std::string(300000, 'x'));
        folder_.write("tree/sub/other", "y");
        std::filesystem::create_hard_link(folder_ / "tree/sub/other", folder_ / "tree/sub/second");
        std::filesystem::create_symlink("file", folder_ / "tree/sub/link");
        folder_.write("packages/tool.bex", "old");
        options_.blockBytes = 65536;
        setenv("TMPDIR", folder_.path().c_str(), 1);  // for what comes from the pipe
    }
    ~WriterFaults() override { unsetenv("TMPDIR"); }

    void build(stream::System& system = stream::System::real()) {
        const stream::Descriptor pipe = pipeOf("piped");
        PackageWriter writer = soundWriter(system);
        writer.addDescriptor(pipe.get(), "pipe");
        writer.addTree(folder_ / "tree");
        writer.addFile(folder_ / "tree/sub/other", "single");
        writer.write(folder_ / "packages/tool.bex", options_);
    }

    void expectPackage(const std::string& bytes) {
        EXPECT_TRUE(bytes.empty() || folder_.read("packages/tool.bex") == bytes);
        EXPECT_EQ(namesBelow(folder_ / "packages"), std::vector<std::string>(bytes.empty() ? 0 : 1, "tool.bex"));
    }

    TemporaryDirectory folder_;
    WriteOptions options_ = datedOptions();
};

TEST_F(WriterFaults, EveryFailingCallLeavesTheOldPackageOrMakesTheWholeNewOne) {
    const std::size_t descriptors = openDescriptors();
    // EOPNOTSUPP sends the build down the ways for file systems that have no unnamed files.
    const struct {
        int error;
        const char* before;
        unsigned threads;
        std::size_t blockBytes;
    } cases[] = {{EIO, "old", 2, 65536}, {EOPNOTSUPP, "old", 1, 65536}, {EIO, "", 16, 12000}};
    for (const auto& c : cases) {
        options_.threads = c.threads;
        options_.blockBytes = c.blockBytes;
        build();
        const std::string whole = folder_.read("packages/tool.bex");
        FailingSystem inPieces;
        inPieces.limitTransfers(1000);
        build(inPieces);
        expectPackage(whole);
        const std::string old = c.before;
        std::size_t failures = 0;
        failEachCall(
            c.error,
            [&](stream::System& system) {
                std::filesystem::remove(folder_ / "packages/tool.bex");
                if (!old.empty()) {
                    folder_.write("packages/tool.bex", old);
                }
                build(system);
            },
            [&](const std::string& failure, const std::string& call) {
                SCOPED_TRACE(call);
                EXPECT_EQ(openDescriptors(), descriptors);
                const bool isWritten =
                    failure.empty() || failure.find("but the file is written") != std::string::npos;
                expectPackage(isWritten ? whole : old);
                EXPECT_THAT(failure,
                            testing::AnyOf("", HasSubstr("descriptor "), HasSubstr(folder_.path().string())));
                failures += failure.empty() ? 0 : 1;
            });
        EXPECT_GT(failures, 20U);
    }
}

/// Blocks of 4 KiB, of which the first file fills 25, are made by threads in any order.
TEST_F(WriterFaults, TheFirstErrorInThePayloadsOrderIsTheOneReportedForAnyNumberOfThreads) {
    const std::pair<const char*, std::size_t> files[] = {
        {"a", 100000}, {"b", 3000}, {"c", 30000}, {"d", 1}, {"e", 0}};
    for (const auto& [name, size] : files) {
        folder_.write(std::string("many/") + name, std::string(size, *name));
    }
    options_.blockBytes = 4096;
    options_.latestTime = 0;
    std::chrono::seconds time(0);
    const auto build = [&](const std::vector<std::string>& changed) {
        PackageWriter writer = soundWriter();
        writer.addTree(folder_ / "many");
        for (const std::string& name : changed) {
            const auto path = folder_ / ("many/" + name);
            std::filesystem::last_write_time(path, std::filesystem::file_time_type(++time));
        }
        return failureOf([&] { return written(writer, folder_, options_); });
    };
    for (const auto compression :
         {stream::Compression::gzip, stream::Compression::zstd, stream::Compression::none}) {
        options_.compression = compression;
        std::string expected;
        for (const unsigned threads : {1U, 2U, 3U, 16U}) {
            SCOPED_TRACE(std::string(nameOf(compression)) + " " + std::to_string(threads));
            options_.threads = threads;
            EXPECT_THAT(build({"e", "d", "c"}), HasSubstr("many/c: changed after it was listed"));
            EXPECT_THAT(build({"b", "e", "a"}), HasSubstr("many/a: changed after it was listed"));
            PackageWriter writer = soundWriter();
            writer.addTree(folder_ / "many");
            const std::string bytes = written(writer, folder_, options_);
            EXPECT_TRUE(bytes == expected || expected.empty());
            expected = bytes;
        }
    }
}

TEST_F(WriterFaults, ANamedTemporaryFileIsGoneBeforeItIsUsed) {
    class NoUnnamedFiles : public stream::System {
    public:
        int openat(int folder, const char* path, int flags, mode_t mode) override {
            errno = EOPNOTSUPP;
            return (flags & O_TMPFILE) == O_TMPFILE ? -1 : System::openat(folder, path, flags, mode);
        }
    };
    build();
    const std::string whole = folder_.read("packages/tool.bex");
    NoUnnamedFiles system;
    options_.progress = [&](const Progress&) {
        EXPECT_EQ(namesBelow(folder_ / "packages").size(), 2U) << "the target and its temporary file";
        return true;
    };
    build(system);
    expectPackage(whole);
}

TEST_F(WriterFaults, ACallbackThatSaysNoCancelsAtAnyPoint) {
    std::uint64_t last = 0;
    bool cancelled = true;
    std::uint64_t refused = 1;
    for (; cancelled; ++refused) {
        last = 0;
        options_.progress = [&, calls = std::uint64_t{0}](const Progress& progress) mutable {
            EXPECT_GE(progress.bytesDone, last);
            EXPECT_EQ(progress.bytesTotal, 300007U);
            last = progress.bytesDone;
            return ++calls != refused;
        };
        const std::string failure = failureOf([&] { build(); });
        cancelled = !failure.empty();
        EXPECT_EQ(failure, cancelled ? "cancelled" : "");
        expectPackage(cancelled ? "old" : folder_.read("packages/tool.bex"));
    }
    EXPECT_GT(refused, 3U);
    EXPECT_EQ(last, 300007U) << "the last call tells of everything";
}

TEST_F(WriterFaults, OneLargeEntryIsCancelledInItsMiddle) {
    PackageWriter writer = soundWriter();
    writer.addBytes(std::string(8 << 20, 'x'), "large");
    std::uint64_t seen = 0;
    options_.progress = [&](const Progress& progress) {
        seen = progress.bytesDone;
        return false;
    };
    EXPECT_EQ(failureOf([&] { writer.write(folder_ / "packages/tool.bex", options_); }), "cancelled");
    EXPECT_LT(seen, 1U << 20);
}

}  // namespace
}  // namespace bex::test

#include "stream/codec/CompressingSink.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "stream/codec/Codec.hpp"

namespace bex::test {
namespace {

using stream::CompressingSink;
using stream::Compression;
using stream::CompressionSettings;

TEST(CompressingSink, IsReadByTheFormatsOwnProgramsAndByOurs) {
    constexpr std::size_t kBlock = 5000;
    constexpr std::size_t zstdBlock = std::size_t{4} << 20;  // what a frame holds at level 1
    const std::vector<std::size_t> edges = {0, 1, kBlock - 1, kBlock, kBlock + 1, 9 * kBlock + 3};
    const struct {
        const char* program;
        CompressionSettings settings;
        std::vector<std::size_t> sizes;
    } cases[] = {
        {"gzip -dc", {Compression::gzip, 0, 2, kBlock}, edges},
        {"gzip -dc", {Compression::gzip, 1, 2, kBlock}, edges},
        {"gzip -dc", {Compression::gzip, 12, 2, kBlock}, edges},
        {"gzip -dc", {Compression::gzip, 0, 2, 4 << 20}, {9 << 20}},
        {"zstd -dc", {Compression::zstd, 1, 2}, {0, 1, zstdBlock - 1, zstdBlock, zstdBlock + 1, 3 * zstdBlock}},
        {"zstd -dc", {Compression::zstd, 19, 2}, {0, 70000}},
        {"xz -dc", {Compression::xz, 0, 2}, {0, 1, 300000}},
        {"xz -dc", {Compression::xz, 6, 2}, {0, 1, 300000}},
        {"cat", {Compression::none, 0, 2}, {0, 1, 70000}},
    };
    for (const auto& c : cases) {
        for (const std::size_t size : c.sizes) {
            SCOPED_TRACE(c.program + (" level " + std::to_string(c.settings.level)) + " " + std::to_string(size));
            const std::string data = text(size);
            const std::string stream = compressed(data, c.settings);
            EXPECT_TRUE(piped(c.program, stream) == data);
            for (const unsigned threads : {1U, 2U, 5U}) {
                EXPECT_TRUE(decompressed(stream, c.settings.compression, threads, 3333) == data) << threads;
            }
        }
    }
}

TEST(CompressingSink, GivesTheSameBytesForAnyThreadsAndPieces) {
    const std::string data = text(200000) + noise(60000) + std::string(200000, '\0');
    const std::string large = data + text(9 << 20);
    const struct {
        CompressionSettings settings;
        std::string data;
    } cases[] = {
        {{Compression::gzip, 6, 1, 10000}, data},
        {{Compression::gzip, 12, 1, 100000}, data},
        {{Compression::zstd, 1, 1, 10000}, large},
        {{Compression::xz, 0, 1, 10000}, data + text(2 << 20)},
    };
    for (const auto& c : cases) {
        const std::string expected = compressed(c.data, c.settings);
        for (const unsigned threads : {2U, 3U, 8U}) {
            for (const std::size_t piece : {std::size_t{777}, c.data.size()}) {
                CompressionSettings settings = c.settings;
                settings.threads = threads;
                EXPECT_TRUE(compressed(c.data, settings, piece) == expected)
                    << nameOf(settings.compression) << " with " << threads << " threads, pieces of " << piece;
            }
        }
    }
}

TEST(CompressingSink, KeepsIncompressibleDataAtTheSizeOfStoredBlocks) {
    constexpr std::size_t kBlock = 200000;
    const std::string data = noise(5 * kBlock);
    const std::size_t stored = data.size() + 5 * (20 + 8 + 5 * (kBlock / 65535 + 1));
    for (const int level : {0, 1, 6, 9, 12}) {
        EXPECT_LE(blocks(data, kBlock, level).size(), stored) << "gzip level " << level;
    }
    EXPECT_LE(compressed(data, {Compression::zstd, 3}).size(), stored);
    EXPECT_LE(compressed(data, {Compression::xz, 6}).size(), stored);
}

TEST(CompressingSink, RefusesSettingsThatTheFormatDoesNotKnow) {
    const std::pair<CompressionSettings, const char*> cases[] = {
        {{Compression::bzip2, 6}, "compression bzip2 is read, not written"},
        {{Compression::gzip, 6, 1, 0}, "compression blocks of 0 bytes: must be 1 to 4194304"},
        {{Compression::gzip, 6, 1, 4194305}, "compression blocks of 4194305 bytes: must be 1 to 4194304"},
        {{Compression::gzip, 12, 1, 4194304}, ""},
    };
    for (const auto& [settings, failure] : cases) {
        StringSink out;
        EXPECT_EQ(failureOf([&, settings = settings] { CompressingSink(out, settings); }), failure);
    }
}

TEST(CompressingSink, HandsAFailureOfTheTargetToTheWriterAtEveryWrite) {
    const std::string data = noise(10000);
    for (const Compression compression :
         {Compression::gzip, Compression::zstd, Compression::xz, Compression::none}) {
        for (const unsigned threads : {1U, 3U}) {
            SCOPED_TRACE(std::string(nameOf(compression)) + " threads " + std::to_string(threads));
            std::size_t writes = 0;
            for (bool failed = true; failed; ++writes) {
                StringSink out(writes);
                CompressingSink sink(out, {compression, 6, threads, 3000});
                const std::string failure = failureOf([&] {
                    for (int i = 0; i < 5; ++i) {
                        sink.write(data.data(), data.size());
                    }
                    sink.finish();
                });
                failed = !failure.empty();
                EXPECT_EQ(failure, failed ? "target: full" : "");
                EXPECT_TRUE(!failed || failureOf([&] { sink.finish(); }) == failure) << "it never succeeds later";
                EXPECT_TRUE(!failed || out.writes == writes);
            }
            EXPECT_GE(writes, 2U);
        }
    }
}

}  // namespace
}  // namespace bex::test

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Failure.hpp"
#include "stream/codec/Codec.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::ErrorKind;
using stream::Limits;
using stream::StreamError;

struct Outcome {
    bool failed = false;
    ErrorKind kind = ErrorKind::inputOutput;
    std::string message;
    std::string data;  // up to the failure
};

Outcome outcomeOf(const std::string& stream, Compression compression, unsigned threads = 1,
                  const Limits& limits = {}) {
    Outcome outcome;
    MemorySource source(stream);
    try {
        drain(*openDecompressor(source, compression, "it", {threads, limits}), &outcome.data);
    } catch (const StreamError& failure) {
        outcome.failed = true;
        outcome.kind = failure.kind();
        outcome.message = failure.getMessage();
    }
    return outcome;
}

/// A small stream of each kind.
struct Sample {
    const char* name;
    Compression compression;
    std::string data;
    std::string stream;
};
std::vector<Sample> samples() {
    const std::string data = text(400);
    return {
        {"block", Compression::gzip, data, blocks(data, 1000)},
        {"stored block", Compression::gzip, data, blocks(data, 1000, 0)},
        {"gzip", Compression::gzip, data, gzipMember(data)},
        {"checked header", Compression::gzip, data, headerCheckedMember(data)},
        {"block behind gzip", Compression::gzip, "first" + data, gzipMember("first") + blocks(data, 1000)},
        {"xz", Compression::xz, data, piped("xz -c", data)},
        {"zstd", Compression::zstd, data, piped("zstd -c", data)},
        {"own zstd", Compression::zstd, data, compressed(data, {Compression::zstd, 3})},
        {"bzip2", Compression::bzip2, data, piped("bzip2 -c", data)},
    };
}

TEST(DamagedStream, BrokenOffAnywhereIsAnErrorThatSaysSo) {
    for (const Sample& sample : samples()) {
        const std::size_t boundary = sample.data.size() == 400 ? 0 : gzipMember("first").size();
        for (std::size_t size = 0; size < sample.stream.size(); ++size) {
            for (const unsigned threads : {1U, 2U}) {
                const Outcome outcome = outcomeOf(sample.stream.substr(0, size), sample.compression, threads);
                const bool whole = boundary != 0 && size == boundary;
                EXPECT_EQ(outcome.failed, !whole) << sample.name << " " << size;
                if (outcome.failed) {
                    EXPECT_EQ(outcome.kind, ErrorKind::damaged) << outcome.message;
                    const std::string expected =
                        size == 0 ? "it: is empty" : "it: ends after " + std::to_string(size) + " bytes, inside ";
                    EXPECT_EQ(outcome.message.substr(0, expected.size()), expected) << sample.name;
                }
            }
        }
    }
}

TEST(DamagedStream, AFlippedBitIsAnErrorOrChangesNothing) {
    for (const Sample& sample : samples()) {
        std::size_t errors = 0;
        for (std::size_t bit = 0; bit < sample.stream.size() * 8; ++bit) {
            std::string stream = sample.stream;
            stream[bit / 8] = static_cast<char>(stream[bit / 8] ^ (1 << (bit % 8)));
            const Outcome outcome = outcomeOf(stream, sample.compression, bit % 50 == 0 ? 2 : 1);
            EXPECT_TRUE(outcome.failed || outcome.data == sample.data) << sample.name << " bit " << bit;
            EXPECT_TRUE(!outcome.failed || outcome.message.substr(0, 4) == "it: ") << outcome.message;
            errors += outcome.failed ? 1 : 0;
        }
        EXPECT_GT(errors, sample.stream.size() * 8 * 3 / 4) << sample.name;
    }
}

/// The stream with bytes before its end replaced.
std::string with(std::string stream, std::size_t fromEnd, const std::string& bytes) {
    return stream.replace(stream.size() - fromEnd, bytes.size(), bytes);
}

TEST(DamagedStream, IsToldByItsOwnText) {
    const std::string data = text(400);
    const std::string block = lengthMember(data);
    const std::string plain = gzipMember(data);
    const std::string deflateEnd = std::to_string(plain.size());
    const std::string before = gzipMember("before");
    const std::string at = std::to_string(before.size());
    const std::string flagged = plain.substr(0, 3) + '\x20' + plain.substr(4);
    const std::string method = plain.substr(0, 2) + '\7' + plain.substr(3);
    const std::string xz = piped("xz -c", data);
    const std::string zstd = piped("zstd -c", data);
    const std::string bzip2 = piped("bzip2 -c", data);
    const struct {
        Compression compression;
        std::string stream;
        std::string failure;
    } cases[] = {
        {Compression::gzip, "GIF89a", "it: is no gzip stream"},
        {Compression::gzip, std::string(100, '\0'), "it: is no gzip stream"},
        {Compression::gzip, plain + "x", "it: byte " + deflateEnd + ": data after the last gzip member"},
        {Compression::gzip, plain + '\0' + plain,
         "it: byte " + std::to_string(plain.size() + 1) + ": data after the last gzip member"},
        {Compression::gzip, before + method, "it: gzip member at byte " + at + ": unknown compression method 7"},
        {Compression::gzip, before + flagged, "it: gzip member at byte " + at + ": reserved flags are set"},
        {Compression::gzip, headerCheckedMember(data, 1), "it: gzip member at byte 0: wrong header checksum"},
        {Compression::gzip, before + with(plain, 8, "...."), "it: gzip member at byte " + at + ": wrong checksum"},
        {Compression::gzip, with(block, 8, "...."), "it: gzip member at byte 0: wrong checksum"},
        {Compression::gzip, with(plain, 4, number(401, 4)),
         "it: gzip member at byte 0: wrong length: unpacks to 400 bytes, its trailer says 401"},
        {Compression::gzip, with(block, 4, number(401, 4)),
         "it: gzip member at byte 0: wrong length: unpacks to 400 bytes, its trailer says 401"},
        {Compression::gzip, with(block, 4, number(399, 4)),
         "it: gzip member at byte 0: wrong length: unpacks to more than the 399 bytes that its trailer says"},
        {Compression::gzip, with(block, 4, number(0xffffffff, 4)),
         "it: gzip member at byte 0: wrong length: a block of 4294967295 bytes, more than 4194304"},
        {Compression::gzip, before + lengthMember(data, 1) + "x",
         "it: gzip member at byte " + at + ": is not as long as its header says"},
        {Compression::gzip, lengthMember(data, 4).insert(block.size() - 8, "junk"),
         "it: gzip member at byte 0: is not as long as its header says"},
        {Compression::gzip, lengthMember(data, 27 - static_cast<int>(block.size())),
         "it: gzip member at byte 0: is not as long as its header says"},
        {Compression::gzip, lengthMember(data, 0x10000000),
         "it: gzip member at byte 0: is not as long as its header says"},
        {Compression::gzip, block + lengthMember(data, 1000),
         "it: ends after " + std::to_string(2 * block.size()) + " bytes, inside a gzip member"},
        {Compression::gzip, with(plain, plain.size() - 10, "\7"),
         "it: gzip member at byte 0: invalid deflate data"},
        {Compression::gzip, with(block, block.size() - 20, "\7"),
         "it: gzip member at byte 0: invalid deflate data"},
        {Compression::xz, "GIF89a GIF89a GIF89a", "it: is no xz stream"},
        {Compression::xz, xz + "GIF89a GIF89a GIF89a",
         "it: invalid xz data, wrong checksum or data after the last xz stream before byte " +
             std::to_string(xz.size() + 12)},
        {Compression::zstd, "GIF89a", "it: is no zstd stream"},
        {Compression::zstd, zstd + "GIF89a",
         "it: byte " + std::to_string(zstd.size()) + ": data after the last zstd frame"},
        {Compression::zstd, with(zstd, 4, "...."), "it: wrong checksum of the zstd frame that ends near byte 4"},
        {Compression::bzip2, "GIF89a", "it: is no bzip2 stream"},
        {Compression::bzip2, bzip2 + "GIF89a",
         "it: byte " + std::to_string(bzip2.size()) + ": data after the last bzip2 stream"},
    };
    for (const auto& c : cases) {
        for (const unsigned threads : {1U, 2U}) {
            EXPECT_EQ(outcomeOf(c.stream, c.compression, threads).message, c.failure);
        }
    }
}

TEST(DamagedStream, GivesWhatCameBeforeTheDamageAtAnyThreads) {
    const std::string data = text(100000);
    std::string stream = blocks(data.substr(0, 70000), 10000);
    const std::size_t damage = stream.size() + 100;
    stream += blocks(data.substr(70000), 10000);
    stream[damage] = static_cast<char>(~stream[damage]);
    for (const unsigned threads : {1U, 2U, 8U}) {
        const Outcome outcome = outcomeOf(stream, Compression::gzip, threads);
        EXPECT_TRUE(outcome.failed && outcome.data == data.substr(0, 70000)) << threads;
    }
}

TEST(DamagedStream, DoesNotMatterInABlockThatIsSkipped) {
    constexpr std::size_t kBlock = 1000;
    const std::string data = text(40 * kBlock);
    std::string stream = blocks(data.substr(0, 5 * kBlock), kBlock);
    const std::size_t damage = stream.size() + 50;
    stream += blocks(data.substr(5 * kBlock), kBlock);
    stream[damage] = static_cast<char>(~stream[damage]);
    ASSERT_TRUE(outcomeOf(stream, Compression::gzip).failed);
    for (const unsigned threads : {1U, 2U, 5U}) {
        MemorySource source(stream);
        const auto from = openDecompressor(source, Compression::gzip, "it", {threads, {}});
        std::string read;
        while (read.size() < 4 * kBlock) {
            read += from->next();
        }
        EXPECT_EQ(from->skip(2 * kBlock), 2 * kBlock);
        drain(*from, &read);
        EXPECT_TRUE(read == data.substr(0, 4 * kBlock) + data.substr(6 * kBlock)) << threads;
    }
}

TEST(DamagedStream, MayNotAskForMoreThanTheLimits) {
    const std::string xz = piped("xz -6c", "data");
    // An empty frame with a window of 2^27 bytes.
    const std::string zstd = bytesOf("28b52ffd0088010000");
    Limits limits;
    limits.xzMemoryBytes = 1 << 20;
    limits.zstdWindowLog = 26;
    const struct {
        Compression compression;
        std::string stream;
        std::string failure;
    } cases[] = {
        {Compression::xz, xz, "more than the limit xzMemoryBytes of 1048576"},
        {Compression::zstd, zstd, "it: a zstd frame asks for a window beyond the limit zstdWindowLog of 26"},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(outcomeOf(c.stream, c.compression).failed);
        const Outcome outcome = outcomeOf(c.stream, c.compression, 1, limits);
        EXPECT_EQ(outcome.kind, ErrorKind::limitExceeded);
        EXPECT_NE(outcome.message.find(c.failure), std::string::npos) << outcome.message;
    }
}

TEST(DamagedStream, WithFramesOfAnyKindIsReadAsZstdTellsThem) {
    const std::string skippable = bytesOf("532a4d18") + number(5, 4) + "hello";
    const std::string frame = piped("zstd -c", "data");
    EXPECT_EQ(outcomeOf(skippable + frame + skippable + frame, Compression::zstd).data, "datadata");
    EXPECT_FALSE(outcomeOf(skippable, Compression::zstd).failed);
    for (const std::size_t size : {3U, 4U, 7U, 8U, 12U}) {
        EXPECT_TRUE(outcomeOf(frame + skippable.substr(0, size), Compression::zstd).failed) << size;
    }
}

}  // namespace
}  // namespace bex::test

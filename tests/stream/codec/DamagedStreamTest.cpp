#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "stream/codec/Codec.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::ErrorKind;
using stream::Limits;

struct Outcome {
    std::string failure;                      // "" for none
    ErrorKind kind = ErrorKind::inputOutput;  // of the failure
    std::string data;                         // up to it
};

Outcome outcomeOf(const std::string& stream, Compression compression, unsigned threads = 1,
                  const Limits& limits = {}) {
    Outcome outcome;
    MemoryStream source(stream);
    try {
        drain(*openDecompressor(source, compression, "it", {threads, limits}), outcome.data);
    } catch (const stream::StreamError& failure) {
        outcome.kind = failure.kind();
        outcome.failure = failure.what();
    }
    return outcome;
}

/// A small stream of each kind, whose data is `before`, mostly empty, and 400 bytes.
struct Sample {
    const char* name;
    Compression compression;
    std::string stream;
    std::string before = {};
};
const std::string kData = text(400);

std::vector<Sample> samples() {
    return {
        {"block", Compression::gzip, blocks(kData, 1000)},
        {"stored block", Compression::gzip, blocks(kData, 1000, 0)},
        {"gzip", Compression::gzip, gzipMember(kData)},
        {"checked header", Compression::gzip, headerCheckedMember(kData)},
        {"block behind gzip", Compression::gzip, gzipMember("first") + blocks(kData, 1000), "first"},
        {"xz", Compression::xz, piped("xz -c", kData)},
        {"zstd", Compression::zstd, piped("zstd -c", kData)},
        {"own zstd", Compression::zstd, compressed(kData, {Compression::zstd, 3})},
        {"bzip2", Compression::bzip2, piped("bzip2 -c", kData)},
    };
}

TEST(DamagedStream, BrokenOffAnywhereIsAnErrorThatSaysSo) {
    for (const Sample& sample : samples()) {
        for (std::size_t size = 0; size < sample.stream.size(); ++size) {
            std::string expected = "it: ends after " + std::to_string(size) + " bytes, inside ";
            if (size == 0) {
                expected = "it: is empty";
            } else if (!sample.before.empty() && size == gzipMember(sample.before).size()) {
                expected = "";
            }
            for (const unsigned threads : {1U, 2U}) {
                const Outcome outcome = outcomeOf(sample.stream.substr(0, size), sample.compression, threads);
                EXPECT_EQ(outcome.failure.substr(0, expected.size()), expected) << sample.name;
                EXPECT_EQ(outcome.failure.empty(), expected.empty()) << sample.name;
                EXPECT_EQ(outcome.kind, expected.empty() ? ErrorKind::inputOutput : ErrorKind::damaged);
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
            const bool failed = outcome.failure.substr(0, 4) == "it: ";
            EXPECT_TRUE(failed || outcome.data == sample.before + kData) << sample.name << " bit " << bit;
            errors += failed ? 1 : 0;
        }
        EXPECT_GT(errors, sample.stream.size() * 8 * 3 / 4) << sample.name;
    }
}

/// The stream with bytes before its end replaced.
std::string with(std::string stream, std::size_t fromEnd, const std::string& bytes) {
    return stream.replace(stream.size() - fromEnd, bytes.size(), bytes);
}

TEST(DamagedStream, IsToldByItsOwnText) {
    const std::string block = lengthMember(kData);
    const std::string plain = gzipMember(kData);
    const std::string before = gzipMember("before");
    const std::string later = "gzip member at byte " + std::to_string(before.size()) + ": ";
    const std::string first = "gzip member at byte 0: ";
    const std::string flagged = plain.substr(0, 3) + '\x20' + plain.substr(4);
    const std::string method = plain.substr(0, 2) + '\7' + plain.substr(3);
    const auto junkAt = [](std::size_t at, const char* what) {
        return "byte " + std::to_string(at) + ": data after the last " + what;
    };
    const std::string xz = piped("xz -c", kData);
    const std::string zstd = piped("zstd -c", kData);
    const std::string bzip2 = piped("bzip2 -c", kData);
    const auto furtherAt = [](std::size_t at, const char* what) {
        return "byte " + std::to_string(at) + ": a further " + what + ", which not every reader reads";
    };
    const std::string skipped = "\x53\x2a\x4d\x18" + number(5, 4) + "hello";
    const std::string invalidXz = "invalid xz data, wrong checksum or data after the last xz stream before byte ";
    const std::string image = "GIF89a GIF89a GIF89a";
    const std::string notSoLong = "is not as long as its header says";
    const std::string wrongLength = first + "wrong length: ";
    const struct {
        Compression compression;
        std::vector<std::pair<std::string, std::string>> failures;  // stream and message
    } cases[] = {
        {Compression::gzip,
         {{image, "is not a gzip stream"},
          {plain + "x", junkAt(plain.size(), "gzip member")},
          {before + method, later + "unknown compression method 7"},
          {before + flagged, later + "reserved flags are set"},
          {headerCheckedMember(kData, 1), first + "wrong header checksum"},
          {before + with(plain, 8, "...."), later + "wrong checksum"},
          {with(plain, 4, number(401, 4)), wrongLength + "unpacks to 400 bytes, its trailer says 401"},
          {with(block, 4, number(399, 4)),
           wrongLength + "unpacks to more than the 399 bytes that its trailer says"},
          {with(block, 4, number(0xffffffff, 4)), wrongLength + "a block of 4294967295 bytes, more than 4194304"},
          {lengthMember(kData, 4).insert(block.size() - 8, "junk"), first + notSoLong},
          {lengthMember(kData, 0x10000000), first + notSoLong},
          {block + lengthMember(kData, 1000),
           "ends after " + std::to_string(2 * block.size()) + " bytes, inside a gzip member"},
          {with(plain, plain.size() - 10, "\7"), first + "invalid deflate data"}}},
        {Compression::xz,
         {{image, "is not an xz stream"},
          {xz + image, invalidXz + std::to_string(xz.size())},
          {xz + number(0, 3), invalidXz + std::to_string(xz.size() + 3)},
          {xz + number(0, 4) + xz, furtherAt(xz.size() + 4, "xz stream")},
          {xz + number(0, 4), ""}}},
        {Compression::zstd,
         {{image, "is not a zstd stream"},
          {zstd + image, junkAt(zstd.size(), "zstd frame")},
          {zstd + skipped, furtherAt(zstd.size(), "zstd frame")},
          {skipped + zstd, furtherAt(0, "zstd frame")},
          {with(zstd, 4, "...."), "wrong checksum of the zstd frame that ends near byte 4"}}},
        {Compression::bzip2,
         {{image, "is not a bzip2 stream"},
          {bzip2 + image, junkAt(bzip2.size(), "bzip2 stream")},
          {bzip2 + bzip2, furtherAt(bzip2.size(), "bzip2 stream")}}},
    };
    for (const auto& c : cases) {
        for (const auto& [stream, failure] : c.failures) {
            const std::string message = failure.empty() ? "" : "it: " + failure;
            EXPECT_EQ(outcomeOf(stream, c.compression, 1).failure, message);
            EXPECT_EQ(outcomeOf(stream, c.compression, 2).failure, message);
        }
    }
}

TEST(DamagedStream, GivesWhatCameBeforeTheDamageAndDoesNotMindItInABlockThatIsSkipped) {
    constexpr std::size_t kBlock = 1000;
    const std::string data = text(40 * kBlock);
    std::string stream = blocks(data.substr(0, 5 * kBlock), kBlock);
    const std::size_t damage = stream.size() + 50;
    stream += blocks(data.substr(5 * kBlock), kBlock);
    stream[damage] = static_cast<char>(~stream[damage]);
    for (const unsigned threads : {1U, 2U, 8U}) {
        const Outcome outcome = outcomeOf(stream, Compression::gzip, threads);
        EXPECT_EQ(outcome.kind, ErrorKind::damaged);
        EXPECT_EQ(outcome.data, data.substr(0, 5 * kBlock)) << threads;
        MemoryStream source(stream);
        const auto from = openDecompressor(source, Compression::gzip, "it", {threads, {}});
        std::string read;
        while (read.size() < 4 * kBlock) {
            read += from->next();
        }
        EXPECT_EQ(from->skip(2 * kBlock), 2 * kBlock);
        drain(*from, read);
        EXPECT_TRUE(read == data.substr(0, 4 * kBlock) + data.substr(6 * kBlock)) << threads;
    }
}

class NothingWanted final : public stream::BlockForecast {
public:
    bool isWanted(std::uint64_t /*begin*/, std::uint64_t /*end*/) const override { return false; }
};

TEST(DamagedStream, IsToldOfABlockThatIsReadAgainstTheForecast) {
    constexpr std::size_t kBlock = 1000;
    const std::string data = text(60 * kBlock);
    std::string stream = blocks(data.substr(0, 45 * kBlock), kBlock);
    stream[stream.size() - 200] = static_cast<char>(~stream[stream.size() - 200]);
    stream += blocks(data.substr(45 * kBlock), kBlock);
    stream::DecompressionSettings settings{4, {}};
    settings.forecast = [] { return std::make_unique<NothingWanted>(); };
    for (const std::size_t begin : {43 * kBlock, 44 * kBlock + 1}) {
        MemoryStream source(stream);
        const auto from = openDecompressor(source, Compression::gzip, "it", settings);
        EXPECT_EQ(from->skip(begin), begin);
        std::string read;
        const std::string failure = failureOf([&] { drain(*from, read); });
        EXPECT_THAT(failure, testing::StartsWith("it: gzip member at byte "));
        EXPECT_EQ(failureOf([&] { from->next(); }), failure) << "each time";
        EXPECT_TRUE(read == data.substr(begin, begin < 44 * kBlock ? kBlock : 0));
        EXPECT_EQ(from->skip(kBlock), kBlock) << "the rest of it is passed over";
    }
}

TEST(DamagedStream, IsToldAlikeWhateverTheThreadsOfXz) {
    const std::string data = text(300000);
    const std::string sound = piped("xz -0 -T2 --block-size=20000 -c", data);
    Limits limits;
    limits.xzMemoryBytes = std::uint64_t{4} << 20;  // enough for two blocks or three
    const auto same = [&](const std::string& stream) {
        const Outcome expected = outcomeOf(stream, Compression::xz, 1, limits);
        for (const unsigned threads : {2U, 8U}) {
            const Outcome outcome = outcomeOf(stream, Compression::xz, threads, limits);
            EXPECT_EQ(outcome.failure, expected.failure) << threads;
            EXPECT_EQ(outcome.kind, expected.kind) << threads;
            EXPECT_TRUE(outcome.data == expected.data)
                << outcome.data.size() << " bytes, not " << expected.data.size();
        }
        return expected;
    };
    EXPECT_EQ(same(sound).data.size(), data.size());
    for (std::size_t at = 0; at < sound.size(); at += 997) {
        SCOPED_TRACE(at);
        std::string damaged = sound;
        damaged[at] = static_cast<char>(~damaged[at]);
        EXPECT_NE(same(damaged).failure, "");
        EXPECT_NE(same(sound.substr(0, at)).failure, "");
    }
    limits.xzMemoryBytes = 1 << 16;
    EXPECT_EQ(same(sound).kind, ErrorKind::limitExceeded);
}

TEST(DamagedStream, MayNotAskForMoreThanTheLimits) {
    Limits limits;
    limits.xzMemoryBytes = 1 << 20;
    limits.zstdWindowLog = 26;
    const struct {
        Compression compression;
        std::string stream;
        const char* failure;
    } cases[] = {
        {Compression::xz, piped("xz -6c", "data"), "more memory than the limit xzMemoryBytes of 1048576 bytes"},
        // An empty frame with a window of 2^27 bytes.
        {Compression::zstd, std::string("\x28\xb5\x2f\xfd\0\x88\1\0\0", 9),
         "it: a zstd frame asks for a window beyond the limit zstdWindowLog of 26"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outcomeOf(c.stream, c.compression).failure, "");
        const Outcome outcome = outcomeOf(c.stream, c.compression, 1, limits);
        EXPECT_EQ(outcome.kind, ErrorKind::limitExceeded);
        EXPECT_NE(outcome.failure.find(c.failure), std::string::npos) << outcome.failure;
    }
}

}  // namespace
}  // namespace bex::test

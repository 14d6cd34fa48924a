#include "stream/codec/Decompressor.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "stream/codec/Codec.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::Decompressor;
using stream::openDecompressor;

constexpr unsigned kThreads[] = {1, 2, 5};

TEST(Decompressor, ReadsWhatTheFormatsOwnProgramsWrite) {
    const std::string data = text(700000) + noise(50000) + std::string(900000, '\0');
    const std::pair<const char*, Compression> cases[] = {
        {"gzip -c", Compression::gzip},      {"gzip -1c", Compression::gzip},
        {"xz -c", Compression::xz},          {"xz -0 --block-size=100000 -Ccrc32 -c", Compression::xz},
        {"xz -Csha256 -c", Compression::xz}, {"xz -Cnone -c", Compression::xz},
        {"zstd -c", Compression::zstd},      {"zstd --no-check -19 -c", Compression::zstd},
        {"bzip2 -c", Compression::bzip2},    {"bzip2 -1c", Compression::bzip2},
        {"cat", Compression::none},
    };
    for (const std::size_t size : {std::size_t{0}, std::size_t{20000}, data.size()}) {
        const std::string part = data.substr(0, size);
        for (const auto& [program, compression] : cases) {
            SCOPED_TRACE(program + (" size " + std::to_string(size)));
            const std::string stream = piped(program, part);
            for (const unsigned threads : kThreads) {
                EXPECT_TRUE(decompressed(stream, compression, threads) == part) << threads;
            }
            if (compression == Compression::gzip || compression == Compression::none) {
                EXPECT_TRUE(decompressed(stream + stream, compression, 2, 509) == part + part);
            }
            if (size < data.size()) {
                EXPECT_TRUE(decompressed(stream, compression, 1, 1) == part) << "byte by byte";
            }
        }
    }
}

TEST(Decompressor, ReadsGzipMembersOfEveryKindInEveryOrder) {
    const std::string data = text(3000);
    const std::string thrice = data + data + data;
    const std::string texts("a name\0a comment\0", 17);
    const std::string members[] = {
        blocks(data, 1000),
        lengthMember(data),
        headerCheckedMember(data),
        gzipMember(data),
        gzipMember(data, 1 | 4 | 8 | 16, subfield("ab", "xyz") + texts),
        gzipMember(data, 4, subfield("BX", "\1\2")),
        gzipMember(data, 4, number(6, 2) + "BX" + number(200, 2) + "zz"),
        gzipMember(data, 4, number(3, 2) + "BX\4"),
    };
    for (const std::string& first : members) {
        EXPECT_TRUE(piped("gzip -dc", first) == data) << "the sample itself";
        for (const std::string& second : members) {
            std::string stream = first;
            stream.append(second).append(blocks("", 1)).append(first).append(1000, '\0');
            for (const unsigned threads : kThreads) {
                EXPECT_TRUE(decompressed(stream, Compression::gzip, threads, 77) == thrice);
            }
        }
    }
}

TEST(Decompressor, FindsTheTrailerWhereverInputAndOutputAreCut) {
    // The decoder takes bytes behind the data and may learn that it is at the end only when there is room again.
    constexpr std::size_t kChunk = std::size_t{256} << 10;
    for (std::size_t more = 0; more < 270; more += more == 20 ? 230 : 1) {
        const std::string data(kChunk + more, 'x');
        const std::string member = gzipMember(data);
        for (std::size_t cut = member.size() - 9; cut <= member.size(); ++cut) {
            ASSERT_TRUE(decompressed(member + member, Compression::gzip, 1, cut) == data + data)
                << more << " bytes more, cut at " << cut << " of " << member.size();
        }
    }
}

/// Reads and skips at random, and compares with the data itself.
void compareSkips(Decompressor& from, const std::string& data, std::size_t largest, unsigned seed) {
    std::minstd_rand random(seed);
    std::size_t at = 0;
    while (true) {
        if (random() % 2 == 0) {
            const std::size_t size = random() % largest;
            const std::size_t expected = std::min(size, data.size() - at);
            ASSERT_EQ(from.skip(size), expected) << "at " << at;
            at += expected;
        }
        const std::string_view chunk = from.next();
        ASSERT_TRUE(chunk == std::string_view(data).substr(at, chunk.size())) << "at " << at;
        at += chunk.size();
        if (chunk.empty()) {
            break;
        }
    }
    EXPECT_EQ(at, data.size());
    EXPECT_EQ(from.skip(1), 0U);
}

/// Streams of every kind that take several steps to read, with their data.
struct LongStream {
    Compression compression;
    std::string data;
    std::string stream;
};
std::vector<LongStream> longStreams() {
    const std::string data = text(3000000);
    const std::string half = data.substr(0, 1500000);
    const std::string rest = data.substr(half.size());
    const std::string noisy = noise(12 << 20);
    return {
        {Compression::gzip, data, blocks(data, 9000)},
        {Compression::gzip, noisy, blocks(noisy, 512 << 10, 0)},
        {Compression::gzip, data, gzipMember(data)},
        {Compression::gzip, data, blocks(half, 9000) + gzipMember(rest)},
        {Compression::gzip, data, gzipMember(half) + blocks(rest, 9000)},
        {Compression::xz, data, piped("xz -0c", data)},
        {Compression::zstd, data, piped("zstd -c", data)},
        {Compression::bzip2, data, piped("bzip2 -1c", data)},
        {Compression::none, data, data},
    };
}

TEST(Decompressor, SkipsToWhereReadingWouldCome) {
    for (const LongStream& c : longStreams()) {
        for (const unsigned threads : kThreads) {
            for (const std::size_t largest : {std::size_t{30000}, c.data.size() / 2}) {
                for (const auto kind : {MemoryStream::Kind::pipe, MemoryStream::Kind::seekable}) {
                    SCOPED_TRACE(nameOf(c.compression));
                    MemoryStream source(c.stream, 100000, kind);
                    const auto from = openDecompressor(source, c.compression, "it", {threads, {}});
                    compareSkips(*from, c.data, largest, threads);
                }
            }
        }
    }
}

/// Wants what begins in every `each`th block of 9000 bytes; 0: nothing.
class EachBlock final : public stream::BlockForecast {
public:
    explicit EachBlock(std::uint64_t each) : each_(each) {}
    bool isWanted(std::uint64_t begin, std::uint64_t /*end*/) const override {
        return each_ != 0 && begin / 9000 % each_ == 0;
    }

private:
    std::uint64_t each_;
};

TEST(Decompressor, SkipsAlikeWhateverAForecastSays) {
    const std::string data = text(1500000);
    for (const std::string& stream : {blocks(data, 9000), blocks(data.substr(0, 900000), 9000) +
                                                              gzipMember(std::string_view(data).substr(900000))}) {
        for (const unsigned threads : kThreads) {
            for (const std::uint64_t each : {0U, 1U, 2U, 7U}) {
                SCOPED_TRACE(std::to_string(threads) + " threads, each " + std::to_string(each));
                int asked = 0;
                stream::DecompressionSettings settings{threads, {}};
                settings.forecast = [&] {
                    ++asked;
                    return std::make_unique<EachBlock>(each);
                };
                MemoryStream source(stream, 100000, MemoryStream::Kind::seekable);
                compareSkips(*openDecompressor(source, Compression::gzip, "it", settings), data, 200000, threads);
                EXPECT_EQ(asked, threads == 1 ? 0 : 1);
            }
        }
    }
}

TEST(Decompressor, JumpsOverBlocksWithoutReadingThem) {
    const std::string data = noise(24 << 20);
    const std::string stream = blocks(data, 512 << 10, 0);
    for (const unsigned threads : {1U, 2U}) {
        MemoryStream source(stream);
        const auto from = openDecompressor(source, Compression::gzip, "it", {threads, {}});
        const std::size_t first = from->next().size();
        const std::size_t jump = (21 << 20) + 5;
        ASSERT_EQ(from->skip(jump), jump);
        const std::string_view chunk = from->next();
        EXPECT_TRUE(chunk == std::string_view(data).substr(first + jump, chunk.size()));
        EXPECT_LT(source.bytesRead(), stream.size() / 4) << threads;
    }
}

TEST(Decompressor, HandsOnTheFailureOfItsSourceBehindWhatWasReadBefore) {
    for (const LongStream& c : longStreams()) {
        std::size_t expected = 0;
        for (const unsigned threads : kThreads) {
            const std::size_t size = c.stream.size() * 3 / 4;
            MemoryStream source(c.stream.substr(0, size), size, MemoryStream::Kind::broken);
            const auto from = openDecompressor(source, c.compression, "it", {threads, {}});
            std::string done;
            EXPECT_EQ(failureOf([&] { drain(*from, done); }), "disk: broken");
            EXPECT_EQ(failureOf([&] { from->next(); }), "disk: broken") << "and stays broken";
            expected = threads == 1 ? done.size() : expected;
            EXPECT_EQ(done.size(), expected) << nameOf(c.compression) << " " << threads;
            EXPECT_TRUE(done == c.data.substr(0, done.size()) && !done.empty());
        }
    }
}

/// Bytes that any thread may read at any place, in short pieces, but for one place.
class GappedSource final : public stream::Source {
public:
    enum class Gap { none, ends, fails };

    GappedSource(std::string bytes, std::size_t at, Gap gap) : bytes_(std::move(bytes)), at_(at), gap_(gap) {}

    std::uint64_t size() override { return bytes_.size(); }

    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        if (gap_ == Gap::fails && offset == at_) {
            throw stream::StreamError(stream::ErrorKind::inputOutput, "disk: broken");
        }
        const auto left =
            static_cast<std::size_t>((offset <= at_ && gap_ != Gap::none ? at_ : bytes_.size()) - offset);
        return bytes_.copy(buffer, std::min({size, left, std::size_t{5000}}), static_cast<std::size_t>(offset));
    }

private:
    const std::string bytes_;
    const std::size_t at_;
    const Gap gap_;
};

TEST(Decompressor, HasItsThreadsReadBlocksThemselves) {
    using Gap = GappedSource::Gap;
    const std::string data = text(3 << 20);
    const std::string stream = blocks(data, 256 << 10);
    const std::size_t middle = stream.size() / 2;  // inside a block
    const std::pair<Gap, const char*> cases[] = {
        {Gap::none, ""}, {Gap::ends, "it: gzip member at byte "}, {Gap::fails, "disk: broken"}};
    for (const auto& [gap, failure] : cases) {
        for (const unsigned threads : kThreads) {
            const auto source = stream::streamOf(std::make_shared<GappedSource>(stream, middle, gap));
            const auto from = openDecompressor(*source, Compression::gzip, "it", {threads, {}});
            std::string done;
            EXPECT_THAT(failureOf([&] { drain(*from, done); }), testing::StartsWith(failure));
            EXPECT_EQ(done.size() == data.size(), gap == Gap::none) << threads;
            EXPECT_TRUE(done == data.substr(0, done.size()) && done.size() > data.size() / 3) << threads;
        }
    }
}

TEST(Decompressor, EndsItsThreadsWhenItIsDestroyedMidWay) {
    for (const LongStream& c : longStreams()) {
        for (const unsigned threads : kThreads) {
            for (int chunks = 0; chunks < 6; ++chunks) {
                MemoryStream source(c.stream);
                const auto from = openDecompressor(source, c.compression, "it", {threads, {}});
                for (int i = 0; i < chunks; ++i) {
                    EXPECT_FALSE(from->next().empty());
                }
            }
        }
    }
}

}  // namespace
}  // namespace bex::test

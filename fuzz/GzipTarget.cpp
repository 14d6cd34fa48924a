#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "Target.hpp"
#include "stream/MemoryStream.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::fuzz {
namespace {

constexpr std::size_t kEnough = std::size_t{128} << 10;

/// What came out, up to some size, and what it ended with.
struct Outcome {
    std::string bytes;
    std::string failure;

    bool whole() const { return failure.empty() && bytes.size() < kEnough; }
};

template <typename Next>
Outcome drained(Next next) {
    Outcome outcome;
    outcome.failure = test::failureOf([&] {
        std::string_view chunk;
        do {
            chunk = next();
            outcome.bytes += chunk;
        } while (!chunk.empty() && outcome.bytes.size() < kEnough);
    });
    return outcome;
}

/// How the library is asked to read.
struct Way {
    bool strict;
    unsigned threads = 1;
    std::size_t step = static_cast<std::size_t>(-1);  ///< the most that a read of the source gives
    std::uint64_t skipped = 0;                        ///< bytes to jump over first
};

Outcome inBlocks(std::string_view input, const Way& way) {
    test::MemoryStream source(std::string(input), way.step);
    const auto unpacker = stream::openDecompressor(source, stream::Compression::gzip, "it",
                                                   {way.threads, tightOptions().limits, way.strict});
    Outcome outcome;
    std::uint64_t left = way.skipped;
    outcome.failure = test::failureOf([&] { left -= unpacker->skip(left); });
    if (!outcome.failure.empty() || left != 0) {
        return outcome;
    }
    return drained([&] { return unpacker->next(); });
}

/// As one stream, whatever the members say of their lengths.
Outcome plainly(std::string_view bytes, bool strict) {
    test::MemoryStream source{std::string(bytes)};
    stream::Input input(source);
    const auto decoder = stream::makeGzipDecoder(input, "it", {1, {}, strict});
    std::string buffer(10000, '\0');
    return drained(
        [&] { return std::string_view(buffer).substr(0, decoder->fill(buffer.data(), buffer.size())); });
}

/// By zlib alone, headers and trailers as well: members in a row, and nothing but zeros behind them.
Outcome byZlib(std::string_view input) {
    z_stream stream{};
    require(inflateInit2(&stream, 16 + 15) == Z_OK, "zlib begins");
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> owner(&stream, inflateEnd);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));  // only read
    stream.avail_in = static_cast<uInt>(input.size());
    std::string buffer(10000, '\0');
    Outcome outcome;
    int result = Z_OK;
    do {
        stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
        stream.avail_out = static_cast<uInt>(buffer.size());
        result = inflate(&stream, Z_NO_FLUSH);
        outcome.bytes.append(buffer, 0, buffer.size() - stream.avail_out);
        if (result == Z_STREAM_END) {
            if (input.substr(input.size() - stream.avail_in).find_first_not_of('\0') == std::string_view::npos) {
                return outcome;
            }
            result = inflateReset(&stream);
        }
    } while (result == Z_OK && outcome.bytes.size() < kEnough);
    outcome.failure = result == Z_OK ? "" : "refused by zlib";
    return outcome;
}

bool says(const Outcome& outcome, const char* text) {
    return outcome.failure.find(text) != std::string::npos;
}

/// How much comes before a failure, or behind what is enough, depends on the length of the reads.
void requireSameBytes(const Outcome& one, const Outcome& other, const char* promise) {
    const bool whole = one.whole() && other.whole();
    const std::size_t size = std::min(one.bytes.size(), other.bytes.size());
    requireEqual(whole ? one.bytes : one.bytes.substr(0, size), whole ? other.bytes : other.bytes.substr(0, size),
                 promise);
}

/// Both give the same bytes, and either both take all of them or one of the refusals told is the reason.
void requireAgreement(const Outcome& one, const Outcome& other, const std::vector<const char*>& reasons,
                      const char* promise) {
    requireSameBytes(one, other, promise);
    const bool excused = std::any_of(reasons.begin(), reasons.end(),
                                     [&](const char* text) { return says(one, text) || says(other, text); });
    require(one.whole() == other.whole() || excused, promise, one.failure + " / " + other.failure);
}

constexpr const char* kBlockSize = " bytes, more than ";  // blocks are bounded by what is allocated on their word
constexpr const char* kMemberLength = "is not as long as its header says";
constexpr const char* kInvalid = "invalid deflate data";

struct Readings {
    Outcome blocks;
    Outcome stream;
};

/// Threads and reads change nothing.
Readings readingsOf(std::string_view input, bool strict) {
    const Outcome alone = inBlocks(input, {strict});
    const Outcome together = inBlocks(input, {strict, 3, 1 + input.size() % 50});
    requireAgreement(alone, together, {}, "threads read alike");
    if (!alone.failure.empty() && !together.failure.empty()) {
        requireEqual(alone.failure, together.failure, "threads fail alike");
    }
    require(!actsOnTerminals(alone.failure), "an error is one safe line", alone.failure);
    return {alone, plainly(input, strict)};
}

}  // namespace

/// Read strictly, blocks and streams take what zlib takes and nothing else. The faster inflaters may take more,
/// which no compressor writes, each in its own corners, but never something else.
void runGzip(std::string_view input) {
    const Readings strict = readingsOf(input, true);
    requireAgreement(strict.stream, byZlib(input), {kMemberLength}, "a strict reader reads as zlib does");
    requireAgreement(strict.stream, strict.blocks, {kBlockSize}, "strict blocks are their stream");

    const Readings fast = readingsOf(input, false);
    requireAgreement(fast.stream, fast.blocks, {kBlockSize, kInvalid}, "blocks are their stream");
    for (const auto& [quick, exact] : {std::pair(fast.blocks, strict.blocks), {fast.stream, strict.stream}}) {
        requireSameBytes(quick, exact, "strict and fast give the same bytes");
        require(quick.whole() || !exact.whole(), "what the strict reader takes the fast one takes", quick.failure);
    }
    if (fast.blocks.whole()) {
        const std::string& all = fast.blocks.bytes;
        const std::size_t skipped = all.size() * (input.size() % 8) / 7;
        const unsigned threads = 1 + static_cast<unsigned>(input.size() % 2) * 2;
        const Outcome rest = inBlocks(input, {false, threads, 1000, skipped});
        requireEqual(rest.failure, "", "what is sound can be jumped into");
        requireEqual(rest.bytes, all.substr(skipped), "a jump leads to its place");
    }
}

}  // namespace bex::fuzz

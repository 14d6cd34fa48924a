#include <algorithm>
#include <cstdint>

#include "Failure.hpp"
#include "Target.hpp"
#include "stream/MemorySource.hpp"
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

Outcome inBlocks(std::string_view input, unsigned threads, std::size_t step, std::uint64_t skipped = 0) {
    test::MemorySource source(std::string(input), step);
    const auto unpacker =
        stream::openDecompressor(source, stream::Compression::gzip, "it", {threads, tightOptions().limits});
    Outcome outcome;
    outcome.failure = test::failureOf([&] { skipped -= unpacker->skip(skipped); });
    if (!outcome.failure.empty() || skipped != 0) {
        return outcome;
    }
    return drained([&] { return unpacker->next(); });
}

/// As one stream, whatever the members say of their lengths.
Outcome plainly(std::string_view bytes) {
    test::MemorySource source{std::string(bytes)};
    stream::Input input(source);
    const auto decoder = stream::makeGzipDecoder(input, "it");
    std::string buffer(10000, '\0');
    return drained(
        [&] { return std::string_view(buffer).substr(0, decoder->fill(buffer.data(), buffer.size())); });
}

bool says(const Outcome& outcome, const char* text) {
    return outcome.failure.find(text) != std::string::npos;
}

/// The refusals that one of the two ways has for itself. Blocks are bounded by what is allocated on their word.
/// And the two libraries behind them differ on deflate data that no compressor writes, checksums right: incomplete
/// codes, symbols that stand for nothing.
bool mayDiffer(const Outcome& blocks, const Outcome& stream) {
    return says(blocks, " bytes, more than ") || says(blocks, "invalid deflate data") ||
           says(stream, "invalid deflate data");
}

/// How much comes before a failure, or behind what is enough, depends on the length of the reads.
void requireSameBytes(const Outcome& one, const Outcome& other, const char* promise) {
    const bool whole = one.whole() && other.whole();
    const std::size_t size = std::min(one.bytes.size(), other.bytes.size());
    requireEqual(whole ? one.bytes : one.bytes.substr(0, size), whole ? other.bytes : other.bytes.substr(0, size),
                 promise);
}

}  // namespace

/// Threads, reads and jumps change nothing, and the stream that other readers see has the same bytes.
void runGzip(std::string_view input) {
    const Outcome alone = inBlocks(input, 1, input.size() + 1);
    const Outcome together = inBlocks(input, 3, 1 + input.size() % 50);
    requireSameBytes(alone, together, "threads give the same bytes");
    require(alone.whole() == together.whole(), "threads take the same", alone.failure + together.failure);
    if (!alone.failure.empty() && !together.failure.empty()) {
        requireEqual(alone.failure, together.failure, "threads fail alike");
    }
    require(!actsOnTerminals(alone.failure), "an error is one safe line", alone.failure);

    const Outcome plain = plainly(input);
    requireSameBytes(plain, alone, "blocks and stream give the same bytes");
    if (plain.whole() != alone.whole() && !mayDiffer(alone, plain)) {
        requireEqual(plain.failure, alone.failure, "blocks and stream agree on what is sound");
    }
    if (alone.whole()) {
        const std::size_t skipped = alone.bytes.size() * (input.size() % 8) / 7;
        const Outcome rest = inBlocks(input, 1 + static_cast<unsigned>(input.size() % 2) * 2, 1000, skipped);
        requireEqual(rest.failure, "", "what is sound can be jumped into");
        requireEqual(rest.bytes, alone.bytes.substr(skipped), "a jump leads to its place");
    }
}

}  // namespace bex::fuzz

#include "Target.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/index/Indexed.hpp"
#include "stream/index/PayloadIndex.hpp"

namespace bex::fuzz {
namespace {

bool failed(const std::string& outcome) {
    return outcome.rfind("p.bex: ", 0) == 0;
}

}  // namespace

/// The bytes of an index: whatever they are, they end in rows that lie in order within the archive, or in an
/// error.
void runIndex(std::string_view input) {
    const stream::Limits limits = tightOptions().limits;
    constexpr std::uint64_t streamBytes = 100000;
    try {
        const stream::PayloadIndex index(std::string(input), streamBytes, limits, "it");
        require(index.entries() <= limits.entries, "the number of entries is bounded");
        require(index.blockEnd(index.blocks() - 1) == streamBytes, "the blocks are all of the stream");
        std::uint64_t end = 0;
        for (std::size_t group = 0; group < index.groups(); ++group) {
            for (const stream::IndexRow& row : index.rows(group)) {
                require(row.extent.begin == end && row.extent.contents <= row.extent.end,
                        "entries follow each other");
                require(row.entry.size <= row.extent.end - row.extent.contents, "contents lie in their entry");
                end = row.extent.end;
            }
        }
        require(end < index.tarBytes() || index.entries() == 0, "entries end before the archive");
    } catch (const stream::StreamError& failure) {
        require(!actsOnTerminals(failure.what()), "an error is one safe line", failure.what());
    }

    static const std::string sound = test::dataOf(test::indexedPackage());
    static const std::string soundListing = test::listingOf(test::withData(sound));
    static const std::size_t blocks = static_cast<std::size_t>(test::factsOf(sound).footer.offset);
    const std::string other =
        test::withData(sound.substr(0, blocks) + stream::formatIndexChain(std::string(input), blocks));
    const std::string otherRead = test::listingOf(other);
    const std::string otherIndexed = test::indexedListingOf(other);
    require(failed(otherRead) || (otherRead == soundListing && otherIndexed == soundListing),
            "full reading refuses an index that differs", otherIndexed);
}

/// What full reading accepts is the same by the index.
void runIndexed(std::string_view input) {
    const std::string bytes(input);
    const std::string read = test::listingOf(bytes, test::Route::file, tightOptions());
    const std::string indexed = test::indexedListingOf(bytes, tightOptions());
    require(!failed(indexed) || !actsOnTerminals(indexed), "an error is one safe line", indexed);
    require(failed(read) || failed(indexed) || read == indexed, "index and payload agree",
            read + "\n--\n" + indexed);
}

}  // namespace bex::fuzz

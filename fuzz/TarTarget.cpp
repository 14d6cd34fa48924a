#include <string>
#include <vector>

#include "Failure.hpp"
#include "Target.hpp"
#include "stream/MemoryStream.hpp"
#include "stream/reader/EntryReader.hpp"
#include "stream/tar/Judge.hpp"

namespace bex::fuzz {
namespace {

constexpr std::uint64_t kLimit = std::uint64_t{1} << 20;

std::string contentsOf(stream::EntryReader& reader) {
    std::string contents;
    for (std::string_view bytes = reader.read(); !bytes.empty(); bytes = reader.read()) {
        contents += bytes;
    }
    return contents;
}

void checkTaken(const stream::Entry& entry) {
    const std::string plain = '/' + stream::plainPath(entry.path) + '/';
    require(plain.find("/../") == std::string::npos, "no entry that is taken has \"..\"", entry.path);
    require(!entry.path.empty() && entry.path[0] != '/', "no entry that is taken is absolute", entry.path);
    require(entry.path.find('\0') == std::string::npos, "no name holds a NUL", entry.path);
    require(entry.type <= stream::EntryType::hardlink, "no device and no FIFO is taken", entry.path);
    require(entry.type == stream::EntryType::file || entry.size == 0, "only files have contents", entry.path);
}

/// The entries that were taken, and the error that ended the archive, or "".
struct Listing {
    std::vector<std::string> entries;
    std::string failure;
};

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + '\n';
    }
    return text;
}

Listing listed(std::string_view input, std::size_t step, bool readContents) {
    test::MemoryStream source(std::string(input), step);
    stream::EntryReaderSettings settings;
    settings.unpacking.limits = tightOptions().limits;
    settings.bytesLimit = {kLimit, "", "it"};
    Listing listing;
    listing.failure = test::failureOf([&] {
        stream::EntryReader reader(source, stream::Compression::none, settings, stream::Place("p"));
        stream::Entry entry;
        while (reader.next(entry)) {
            checkTaken(entry);
            const std::string contents = readContents ? contentsOf(reader) : std::string();
            require(!readContents || contents.size() == entry.size, "contents are as long as their size",
                    entry.path);
            listing.entries.push_back(test::lineOf(entry, contents));
        }
    });
    require(!actsOnTerminals(listing.failure), "an error is one safe line", listing.failure);
    return listing;
}

}  // namespace

/// Entries keep the policy, however the bytes come; skipping contents does not change what is taken; and
/// libarchive reads the same entries.
void runTar(std::string_view input) {
    const Listing listing = listed(input, input.size() + 1, true);
    const Listing inPieces = listed(input, 333, true);
    requireEqual(joined(listing.entries) + listing.failure, joined(inPieces.entries) + inPieces.failure,
                 "reads of any length give the same");
    const Listing skipping = listed(input, input.size() + 1, false);
    require(listing.failure.empty() == skipping.failure.empty(), "skipping contents decides nothing",
            listing.failure + skipping.failure);
    // What follows the entry that is refused is of no interest; at the end there has to be nothing more.
    const std::size_t most = listing.entries.size() + (listing.failure.empty() ? 1 : 0);
    requireEqual(joined(listing.entries), joined(test::readByLibarchive(input, most)),
                 "libarchive reads the same");
}

}  // namespace bex::fuzz

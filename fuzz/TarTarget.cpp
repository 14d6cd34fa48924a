#include "Failure.hpp"
#include "Target.hpp"
#include "stream/MemorySource.hpp"
#include "stream/reader/EntryReader.hpp"

namespace bex::fuzz {
namespace {

constexpr std::uint64_t kLimit = std::uint64_t{1} << 20;

/// Contents with their holes; what the runs promise of their places is checked.
std::string contentsOf(stream::EntryReader& reader, const stream::Entry& entry) {
    std::string contents;
    stream::EntryReader::Run run;
    while (reader.nextRun(run)) {
        require(run.offset >= contents.size(), "runs come in order", entry.path);
        require(run.offset <= entry.size && run.bytes.size() <= entry.size - run.offset, "runs stay in the entry",
                entry.path);
        contents.resize(run.offset, '\0');
        contents += run.bytes;
    }
    require(entry.sparse || contents.size() == entry.size, "contents are as long as their size", entry.path);
    contents.resize(entry.size, '\0');
    return contents;
}

void checkTaken(const stream::Entry& entry) {
    const std::string plain = '/' + stream::plainPath(entry.path) + '/';
    require(plain.find("/../") == std::string::npos, "no entry that is taken has \"..\"", entry.path);
    require(!entry.path.empty() && entry.path[0] != '/', "no entry that is taken is absolute", entry.path);
    require(entry.path.find('\0') == std::string::npos, "no name holds a NUL", entry.path);
    require(entry.type <= stream::EntryType::hardlink, "no device and no FIFO is taken", entry.path);
    require(entry.type == stream::EntryType::file || entry.size == 0, "only files have contents", entry.path);
    require(!entry.sparse || entry.size <= kLimit, "no hole is beyond the limit", entry.path);
}

/// Every entry as a line; then what ended the archive.
std::string listed(std::string_view input, std::size_t step, bool readContents) {
    test::MemorySource source(std::string(input), step);
    stream::EntryReaderSettings settings;
    settings.limits = tightOptions().limits;
    settings.bytesLimit = {kLimit, "", "it"};
    std::string told;
    const std::string failure = test::failureOf([&] {
        stream::EntryReader reader(source, stream::Compression::none, settings, stream::Place("p"));
        stream::Entry entry;
        while (reader.next(entry)) {
            checkTaken(entry);
            const std::string contents = readContents ? contentsOf(reader, entry) : std::string();
            told += entry.path + '>' + entry.linkTarget + '|' + std::to_string(static_cast<int>(entry.type)) +
                    '|' + std::to_string(entry.size) + '|' + std::to_string(entry.mtime) + '|' + entry.owner +
                    '|' + std::to_string(entry.uid) + '|' + std::to_string(entry.mode) + '=' + contents + '\n';
        }
    });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    return failure.empty() ? told + "whole" : told + failure;
}

bool isWhole(const std::string& listing) {
    return listing.size() >= 5 && listing.compare(listing.size() - 5, 5, "whole") == 0;
}

}  // namespace

/// Entries keep the policy, however the bytes come, and passing over contents does not change what is taken.
void runTar(std::string_view input) {
    const std::string listing = listed(input, input.size() + 1, true);
    requireEqual(listing, listed(input, 333, true), "reads of any length give the same");
    const std::string skipping = listed(input, input.size() + 1, false);
    require(isWhole(listing) == isWhole(skipping), "passing over contents decides nothing", listing + skipping);
}

}  // namespace bex::fuzz

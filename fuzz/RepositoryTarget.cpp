#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "Target.hpp"
#include "bex/repo/RecordReader.hpp"
#include "bex/repo/Scan.hpp"
#include "repo/base/Hasher.hpp"
#include "repo/files/Compressed.hpp"
#include "repo/index/IndexText.hpp"
#include "repo/index/Release.hpp"
#include "repo/publish/Armor.hpp"
#include "repo/publish/PackedIndex.hpp"
#include "stream/base/StringSink.hpp"

namespace bex::fuzz {
namespace {

using repo::PackageRecord;

/// A file in memory, for what is read by its path.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& text) : file_(memfd_create("shard", 0)) {
        if (file_ < 0 || write(file_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            std::abort();
        }
    }
    ~MemoryFile() { close(file_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_;
};

struct Reading {
    std::vector<PackageRecord> records;
    std::string failure;
};

/// Reads the records, `step` bytes at a time.
Reading readRecords(std::string_view text, std::size_t step) {
    Reading reading;
    repo::RecordReader reader(
        [text, step](char* buffer, std::size_t size) mutable {
            const std::size_t count = text.copy(buffer, std::min(size, step));
            text.remove_prefix(count);
            return count;
        },
        "index");
    reading.failure = test::failureOf([&] {
        for (PackageRecord record; reader.next(record);) {
            reading.records.push_back(record);
        }
    });
    return reading;
}

std::string textOf(const std::vector<PackageRecord>& records) {
    std::string text;
    repo::appendStanzas(text, records);
    return text;
}

void checkFailure(const std::string& failure, const char* name) {
    require(failure.empty() || failure.rfind(name, 0) == 0, "an error names the file", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
}

/// An index is packed so that its text comes back, also in place of one that it has a part of.
void checkPacking(const std::string& text, std::size_t count) {
    const auto stanzas = repo::readStanzas(text, "index");
    require(stanzas.size() == count, "both readers find the same stanzas", text);
    repo::IndexBefore before;
    before.text = text;
    before.gzip = packed(repo::IndexText(stanzas), stream::Compression::gzip, {}, 1);
    requireEqual(repo::decompressed(before.gzip, stream::Compression::gzip, "index"), text,
                 "an index unpacks to its text");
    requireEqual(packed(repo::IndexText(stanzas), stream::Compression::gzip, before, 1), before.gzip,
                 "what did not change is packed as before");
    if (!stanzas.empty()) {
        const std::vector<repo::Stanza> fewer(stanzas.begin() + 1, stanzas.end());
        requireEqual(packed(repo::IndexText(fewer), stream::Compression::gzip, before, 1),
                     packed(repo::IndexText(fewer), stream::Compression::gzip, {}, 1),
                     "the bytes do not depend on the index before");
    }
}

void runIndexText(std::string_view input) {
    const Reading whole = readRecords(input, input.size() + 1);
    const Reading slow = readRecords(input, 7);
    checkFailure(whole.failure, "index");
    requireEqual(whole.failure, slow.failure, "a cut between two reads does not show");
    const std::string text = textOf(whole.records);
    requireEqual(text, textOf(slow.records), "a cut between two reads does not change a record");
    const Reading again = readRecords(text, text.size() + 1);
    require(again.failure.empty(), "what is written can be read", again.failure);
    requireEqual(textOf(again.records), text, "a record is written as it was read");
    checkPacking(text, whole.records.size());
}

/// The input as the stanzas of a shard, which is complete.
void runShard(std::string_view input) {
    const Reading reading = readRecords(input, input.size() + 1);
    const std::string body = "Bex-Shard: 1\nDigests: sha256\n\n" + std::string(input) + "\n";
    const MemoryFile file(body + "Bex-Shard-End: " + std::to_string(reading.records.size()) + " " +
                          repo::sha256Of(body) + "\n");
    repo::DigestChoice digests;
    std::optional<repo::ScanReport> report;
    const std::string failure = test::failureOf([&] {
        report = repo::mergeShards({file.path(), file.path()}, digests);
    });
    checkFailure(failure, "/proc/self/fd/");
    if (!report) {
        return;
    }
    require(report->records.size() <= reading.records.size(), "a package that comes twice counts once");
    std::string text;
    writeShard(report->records, digests, [&](std::string_view piece) { text += piece; });
    const MemoryFile copy(text);
    const repo::ScanReport again = repo::mergeShards({copy.path()}, digests);
    requireEqual(textOf(again.records), textOf(report->records), "a shard of merged shards says the same");
}

void runRelease(std::string_view input) {
    std::optional<repo::Release> release;
    checkFailure(test::failureOf([&] { release = repo::Release::parse(input, "Release"); }), "Release");
    if (release) {
        const std::string text = release->format();
        const std::string failure = test::failureOf([&] {
            requireEqual(repo::Release::parse(text, "Release").format(), text,
                         "a Release file is written as read");
        });
        require(failure.empty(), "a Release file that is written can be read", failure);
        checkFailure(test::failureOf([&] { repo::parseDate(release->field("Date"), "Release"); }), "Release");
    }
    const std::string text = repo::signedText(input);
    require(text.empty() || text.back() == '\n', "a signed text ends with a newline", text);
    repo::isArmoredSignature(input);
}

}  // namespace

/// Index, shard and Release file share their input: all are control files.
void runRepository(std::string_view input) {
    runIndexText(input);
    runShard(input);
    runRelease(input);
}

}  // namespace bex::fuzz

#include <algorithm>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "FileInMemory.hpp"
#include "Target.hpp"
#include "bex/repo/RecordReader.hpp"
#include "bex/repo/Scan.hpp"
#include "repo/index/Release.hpp"
#include "repo/index/StanzaList.hpp"
#include "signing/Armor.hpp"

namespace bex::fuzz {
namespace {

using repo::PackageRecord;

std::string indexOf(const std::vector<PackageRecord>& records) {
    std::string text;
    repo::appendStanzas(text, records);
    return text;
}

/// Reads so many bytes at a time; returns the records before the first failure.
std::vector<PackageRecord> readRecords(std::string_view text, std::size_t step, std::string& failure) {
    std::vector<PackageRecord> records;
    failure = test::failureOf([&] {
        repo::RecordReader reader(
            [text, step](char* buffer, std::size_t size) mutable {
                const std::size_t count = text.copy(buffer, std::min(size, step));
                text.remove_prefix(count);
                return count;
            },
            "index");
        for (PackageRecord record; reader.next(record);) {
            records.push_back(std::move(record));
        }
    });
    return records;
}

/// What the reader of whole records accepts, the reader that only looks for five fields finds, too.
void requireSameStanzas(const std::vector<PackageRecord>& records, const std::string& text) {
    const std::vector<repo::Stanza> stanzas = repo::readStanzas(text, "index");
    require(stanzas.size() == records.size(), "both readers find the same stanzas", text);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const bool isSame = stanzas[i].package == records[i].package && stanzas[i].version == records[i].version &&
                            stanzas[i].architecture == records[i].architecture &&
                            stanzas[i].filename == records[i].filename &&
                            stanzas[i].sha256 == records[i].digests.sha256;
        require(isSame, "both readers find the same values", std::string(stanzas[i].text));
    }
}

/// A shard gives back what was written; one that was changed anywhere is refused.
void passShard(std::vector<PackageRecord> records, std::size_t place) {
    std::vector<std::string> notes;
    repo::settle(records, notes);
    const repo::DigestChoice digests;
    std::string shard;
    repo::writeShard(records, digests, [&](std::string_view piece) { shard += piece; });
    repo::DigestChoice found;
    const repo::ScanReport merged = repo::mergeShards({FileInMemory(shard).path()}, found);
    requireEqual(indexOf(merged.records), indexOf(records), "a shard gives back its records");

    shard[place % shard.size()] ^= 1;
    const std::string failure = test::failureOf([&] { repo::mergeShards({FileInMemory(shard).path()}, found); });
    require(!failure.empty(), "a shard that was changed is refused", shard);
}

void readIndex(std::string_view input) {
    std::string failure;
    const std::vector<PackageRecord> records = readRecords(input, input.size() + 1, failure);
    require(failure.empty() || failure.rfind("index:", 0) == 0, "an error names the file", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);

    const std::string text = indexOf(records);
    std::string again;
    requireEqual(indexOf(readRecords(input, input.size() % 7 + 1, again)), text, "pieces change nothing");
    requireEqual(again, failure, "pieces change no failure");
    requireEqual(indexOf(readRecords(text, text.size() + 1, again)), text, "an index is written as it is read");
    requireEqual(again, "", "an index that was written can be read");
    requireSameStanzas(records, text);
    for (const PackageRecord& record : records) {
        test::failureOf([&] { record.control(); });
    }
    passShard(records, input.size() * 7919);
}

/// Values of several lines are only read: the library writes none.
bool isWritten(const repo::Release& release) {
    return std::none_of(release.fields.begin(), release.fields.end(),
                        [](const auto& field) { return field.second.find('\n') != std::string::npos; });
}

void readRelease(std::string_view input) {
    repo::Release release;
    const std::string failure = test::failureOf([&] { release = repo::Release::parse(input, "Release"); });
    require(failure.empty() || failure.rfind("Release", 0) == 0, "an error names the file", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    if (isWritten(release)) {
        const std::string text = release.format();
        requireEqual(repo::Release::parse(text, "Release").format(), text,
                     "a Release file is written as it is read");
    }
}

}  // namespace

/// The texts of a repository: an index, a shard, and a Release file with or without a signature.
void runRepository(std::string_view input) {
    readIndex(input);
    readRelease(input);
    readRelease(repo::signedText(input));
    signing::isArmoredSignature(input);
    const std::string failure = test::failureOf([&] {
        repo::DigestChoice digests;
        repo::mergeShards({FileInMemory(input).path()}, digests);
    });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
}

}  // namespace bex::fuzz

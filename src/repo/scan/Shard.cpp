#include <utility>

#include "bex/repo/RecordReader.hpp"
#include "bex/repo/Scan.hpp"
#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "repo/base/InputFile.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

// A shard is a paragraph "Bex-Shard: 1" with the digests, the stanzas, and a paragraph with their number and the
// SHA-256 of everything before it. All of it is deb822 text, so that other tools can look into it.
constexpr std::string_view kHead = "Bex-Shard: 1\nDigests:";
constexpr std::string_view kTail = "\nBex-Shard-End: ";
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

struct DigestName {
    const char* name;
    bool DigestChoice::*chosen;
};
constexpr DigestName kDigestNames[] = {
    {" md5", &DigestChoice::md5}, {" sha1", &DigestChoice::sha1}, {" sha512", &DigestChoice::sha512}};

bool isSame(DigestChoice a, DigestChoice b) {
    return a.md5 == b.md5 && a.sha1 == b.sha1 && a.sha512 == b.sha512;
}

std::string textOf(DigestChoice digests) {
    std::string text = " sha256";
    for (const DigestName& digest : kDigestNames) {
        if (digests.*digest.chosen) {
            text += digest.name;
        }
    }
    return text;
}

StreamError badShard(const std::string& path, std::string reason) {
    return failure(ErrorKind::damaged, "shard", path, std::move(reason));
}

/// One shard in memory, checked to be whole.
class Shard {
public:
    explicit Shard(const std::string& path) : path_(path), text_(readWholeFile(path)) {
        std::string_view text = text_;
        if (text.substr(0, kHead.size()) != kHead) {
            throw badShard(path, "is not a shard of bex repo scan --records");
        }
        // The last occurrence: a field of a package could have the same name.
        const std::size_t tail = text.rfind(kTail);
        if (tail == std::string_view::npos || text.back() != '\n') {
            throw badShard(path, "was cut: its last line is missing");
        }
        // The newline before the last paragraph ends the one before, so that it counts as part of it.
        stanzas_ = text.substr(0, tail + 1);
        const std::string_view last = text.substr(tail + kTail.size(), text.size() - tail - kTail.size() - 1);
        const std::size_t blank = last.find(' ');
        const auto count = stream::parseWhole<std::size_t>(last.substr(0, blank));
        const bool whole =
            count && blank != std::string_view::npos && last.substr(blank + 1) == sha256Of(stanzas_);
        if (!whole) {  // guard: shards that were changed
            throw badShard(path, "was changed: the SHA-256 in its last line does not match");
        }
        count_ = count.value_or(0);
        takeDigests();
    }

    DigestChoice digests() const noexcept { return digests_; }

    void appendTo(std::vector<PackageRecord>& records) {
        RecordReader reader = RecordReader::ofText(stanzas_, path_);
        std::size_t count = 0;
        for (PackageRecord record; reader.next(record); ++count) {
            records.push_back(std::move(record));
        }
        // The digest shows that the text is the writer's; the number, that this reader finds the same stanzas in
        // it.
        if (count != count_) {
            throw badShard(path_, "has " + std::to_string(count) + " stanzas, not " + std::to_string(count_));
        }
    }

private:
    void takeDigests() {
        const std::size_t end = stanzas_.find("\n\n");
        const std::string_view words = stanzas_.substr(kHead.size(), end - kHead.size());
        for (const DigestName& digest : kDigestNames) {
            digests_.*digest.chosen =
                (std::string(words) + " ").find(std::string(digest.name) + " ") != std::string::npos;
        }
        // Compared with the text that we would write: an unknown word, or another order, is of another version.
        if (end == std::string_view::npos || words != textOf(digests_)) {
            throw badShard(path_, "names digests that are not known here: " +
                                      quoted(std::string(words.substr(0, words.find('\n')))));
        }
        // The reader of records passes over the empty lines that are left at the beginning.
        stanzas_.remove_prefix(end);
    }

    std::string path_;
    std::string text_;
    std::string_view stanzas_;
    DigestChoice digests_;
    std::size_t count_ = 0;
};

}  // namespace

void writeIndex(const std::vector<PackageRecord>& records, const TextSink& out) {
    std::string piece;
    for (const PackageRecord& record : records) {
        appendStanza(piece, record);
        piece += '\n';
        if (piece.size() >= kPieceBytes) {
            out(piece);
            piece.clear();
        }
    }
    out(piece);
}

void writeShard(const std::vector<PackageRecord>& records, DigestChoice digests, const TextSink& out) {
    Hasher hasher;
    const TextSink hashed = [&](std::string_view text) {
        hasher.update(text);
        out(text);
    };
    // The empty line ends the head's paragraph; each stanza ends with one of its own.
    hashed(std::string(kHead) + textOf(digests) + "\n\n");
    writeIndex(records, hashed);
    // Without the newline of kTail, which the last stanza or the head has written.
    out(std::string(kTail.substr(1)) + std::to_string(records.size()) + " " + hasher.finish().sha256 + "\n");
}

ScanReport mergeShards(const std::vector<std::string>& paths, DigestChoice& digests) {
    ScanReport report;
    for (const std::string& path : paths) {
        Shard shard(path);
        // Otherwise some packages of the index would lack a digest that the others have.
        if (&path != &paths.front() && !isSame(shard.digests(), digests)) {
            throw failure(ErrorKind::invalidInput, "invalid-input", path,
                          "has the digests" + textOf(shard.digests()) + ", but " +
                              stream::escapeForDisplay(paths.front()) + " has" + textOf(digests));
        }
        digests = shard.digests();
        shard.appendTo(report.records);
    }
    report.errors = settle(report.records, report.notes);
    return report;
}

}  // namespace bex::repo

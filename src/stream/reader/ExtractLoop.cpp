#include "stream/reader/ExtractLoop.hpp"

#include <set>
#include <string_view>

#include "stream/extract/Extraction.hpp"

namespace bex::stream {
namespace {

/// The path without its first components; "" when it has no more than these.
std::string stripped(std::string_view path, unsigned components) {
    std::string plain = plainPath(path);
    for (; components != 0 && !plain.empty(); --components) {
        const std::size_t slash = plain.find('/');
        plain.erase(0, slash == std::string::npos ? slash : slash + 1);
    }
    return plain;
}

/// One run of extractAll().
class Extractor {
public:
    Extractor(PackageStream& stream, const std::string& destination, const ExtractOptions& options, System& system)
        : stream_(stream), options_(options), extraction_(destination, stream.name(), options, system) {}

    ExtractResult run() {
        Entry entry;
        while (stream_.next(entry)) {
            if (isTaken(entry)) {
                take(entry);
            } else if (entry.type == EntryType::file || entry.type == EntryType::hardlink) {
                leftOut_.insert(plainPath(entry.path));
            }
        }
        extraction_.finish();
        return result_;
    }

private:
    /// The root has no components, and is taken where none are dropped.
    bool isTaken(const Entry& entry) const {
        const bool named = options_.stripComponents == 0 || !strip(entry.path).empty();
        return named && (!options_.select || options_.select(entry));
    }

    std::string strip(const std::string& path) const { return stripped(path, options_.stripComponents); }

    void take(const Entry& entry) {
        const bool isLink = entry.type == EntryType::hardlink;
        if (isLink && leftOut_.count(plainPath(entry.linkTarget)) != 0) {
            stream_.refuse(entry,
                           "is a hard link to " + quotedName(entry.linkTarget) + ", which is not extracted");
        }
        extraction_.begin(entry, strip(entry.path), isLink ? strip(entry.linkTarget) : "");
        if (entry.type == EntryType::file) {
            writeContents(entry);
        }
        extraction_.end();
        ++result_.entries;
        result_.bytes += entry.size;
    }

    void writeContents(const Entry& entry) {
        std::uint64_t position = 0;
        EntryReader::Run run;
        while (stream_.nextRun(run)) {
            if (run.offset != position) {
                extraction_.skip(run.offset - position);
            }
            extraction_.write(run.bytes.data(), run.bytes.size());
            position = run.offset + run.bytes.size();
        }
        if (position != entry.size) {
            extraction_.skip(entry.size - position);
        }
    }

    PackageStream& stream_;
    const ExtractOptions& options_;
    Extraction extraction_;
    ExtractResult result_;
    std::set<std::string> leftOut_;  // files that later hard links may ask for
};

}  // namespace

ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system) {
    return Extractor(stream, destination, options, system).run();
}

}  // namespace bex::stream

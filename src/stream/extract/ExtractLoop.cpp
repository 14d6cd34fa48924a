#include "stream/extract/ExtractLoop.hpp"

#include <optional>
#include <set>
#include <string_view>

#include "stream/base/Place.hpp"
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

/// The extraction, if anything is to be extracted at all, and what came of it.
class Target {
public:
    Target(const std::string& destination, const std::string& package, const ExtractOptions& options,
           System& system, unsigned threads)
        : options_(options) {
        if (!options.dryRun) {
            extraction_.emplace(destination, package, options, system, threads);
        }
    }

    /// The root has no components, and is taken where none are dropped.
    bool takes(const Entry& entry) const {
        const bool named = options_.stripComponents == 0 || !strip(entry.path).empty();
        return named && (!options_.select || options_.select(entry));
    }

    /// Makes the entry; `writeContents` gives those of a file to the extraction.
    template <typename WriteContents>
    void make(const Entry& entry, WriteContents writeContents) {
        const std::string path = strip(entry.path);
        if (extraction_) {
            extraction_->begin(entry, path, entry.type == EntryType::hardlink ? strip(entry.linkTarget) : "");
            if (entry.type == EntryType::file) {
                writeContents(*extraction_);
            }
            extraction_->end();
        }
        ++result_.entries;
        result_.bytes += entry.size;
        if (options_.onEntry) {
            options_.onEntry(entry, path.empty() ? "." : path);
        }
    }

    /// Runs the step; where it fails, the failure of an entry that came before goes first.
    template <typename Step>
    void settledAfter(Step step) {
        try {
            step();
        } catch (...) {
            if (extraction_) {
                extraction_->settle();
            }
            throw;
        }
    }

    ExtractResult finish() {
        if (extraction_) {
            extraction_->finish();
        }
        return result_;
    }

private:
    std::string strip(const std::string& path) const { return stripped(path, options_.stripComponents); }

    const ExtractOptions& options_;
    std::optional<Extraction> extraction_;
    ExtractResult result_;
};

/// Gives the contents of the stream's current entry to the extraction, holes as holes.
void copyContents(PackageStream& stream, const Entry& entry, Extraction& extraction) {
    std::uint64_t position = 0;
    EntryReader::Run run;
    while (stream.nextRun(run)) {
        if (run.offset != position) {
            extraction.skip(run.offset - position);
        }
        extraction.write(run.bytes.data(), run.bytes.size());
        position = run.offset + run.bytes.size();
    }
    if (position != entry.size) {
        extraction.skip(entry.size - position);
    }
}

void extractEntries(PackageStream& stream, Target& target) {
    std::set<std::string> leftOut;  // files that later hard links may ask for
    for (Entry entry; stream.next(entry);) {
        const bool isLink = entry.type == EntryType::hardlink;
        if (!target.takes(entry)) {
            if (isLink || entry.type == EntryType::file) {
                leftOut.insert(plainPath(entry.path));
            }
            continue;
        }
        // guard: links to files that are left out
        if (isLink && leftOut.count(plainPath(entry.linkTarget)) != 0) {
            stream.refuseLink(entry,
                              "is a hard link to " + quotedName(entry.linkTarget) + ", which is not extracted");
        }
        target.make(entry, [&](Extraction& extraction) { copyContents(stream, entry, extraction); });
    }
}

}  // namespace

ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system) {
    Target target(destination, stream.name(), options, system, stream.threads());
    target.settledAfter([&] { extractEntries(stream, target); });
    return target.finish();
}

ExtractResult extractMembers(const std::vector<ControlMember>& members, const std::string& package,
                             const std::string& destination, const ExtractOptions& options, System& system) {
    Target target(destination, package, options, system, 1);
    for (const ControlMember& member : members) {
        if (target.takes(member.entry)) {
            target.make(member.entry, [&](Extraction& extraction) {
                extraction.write(member.contents.data(), member.contents.size());
            });
        }
    }
    return target.finish();
}

}  // namespace bex::stream

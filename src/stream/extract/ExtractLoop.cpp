#include "stream/extract/ExtractLoop.hpp"

#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/extract/Extraction.hpp"

namespace bex::stream {

namespace {

/// The plain path without its first components; "" when it has no more than these.
std::string stripped(std::string_view path, unsigned components) {
    for (; components != 0 && !path.empty(); --components) {
        const std::size_t end = std::min(path.find('/'), path.size());
        // A last component has no slash: the path becomes "".
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return std::string(path);
}

/// The extraction, unless it is a dry run, and what it has made.
class Target {
public:
    Target(const std::string& destination, const std::string& package, const ExtractOptions& options,
           System& system, unsigned threads)
        : options_(options) {
        if (!options.dryRun) {
            // A dry run opens and makes nothing, not even the destination.
            extraction_.emplace(destination, package, options, system, threads);
        }
    }

    /// Where the entry goes, below the destination; nothing where it is left out. `plain` is its plain path.
    std::optional<std::string> pathOf(const Entry& entry, const std::string& plain) const {
        // Asked with the entry as stored, before its path is changed.
        if (options_.select && !options_.select(entry)) {
            return std::nullopt;
        }
        return pathOf(plain);
    }

    std::optional<std::string> pathOf(const std::string& plain) const {
        // A hard link's target passes here too, so that it is changed as the entry was that it leads to.
        std::string path = stripped(plain, options_.stripComponents);
        // The root has no components, so it is extracted only where none are dropped. Nobody renames it.
        const bool isRoot = path.empty() && options_.stripComponents == 0;
        if (options_.rename && !path.empty()) {
            path = options_.rename(path);
        }
        if (path.empty() && !isRoot) {
            return std::nullopt;
        }
        return path;
    }

    void make(const Entry& entry, const std::string& path, const std::string& linkPath,
              const Extraction::Contents& contents) {
        // A dry run has no extraction: every entry counts as made.
        if (extraction_ && !extraction_->make(entry, path, linkPath, contents)) {
            return;  // kept what exists
        }
        // Counted only when it is made.
        ++result_.entries;
        result_.bytes += entry.size;
        if (options_.onEntry) {
            options_.onEntry(entry, std::string(orIfEmpty(path, ".")));
        }
    }

    /// Runs the step. Where it fails, the failure of an entry that came before goes first.
    template <typename Step>
    void settledAfter(Step step) {
        try {
            step();
        } catch (...) {
            if (extraction_) {
                // Files that came before are finished first. If one of them fails, its exception takes the place
                // of this one.
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
    const ExtractOptions& options_;
    std::optional<Extraction> extraction_;
    ExtractResult result_;
};

/// The entries of a package that is read from front to back.
class StreamSource final : public ExtractSource {
public:
    explicit StreamSource(PackageStream& stream) : stream_(stream) {}

    const std::string& name() const noexcept override { return stream_.name(); }
    unsigned threads() const override { return stream_.threads(); }
    bool next(Entry& entry) override { return stream_.next(entry); }
    const std::string& path() const noexcept override { return stream_.path(); }
    void check(const Entry&) override {}  // next() has
    Piece read() override { return stream_.readToKeep(); }
    [[noreturn]] void refuseLink(const Entry& entry, const std::string& reason) const override {
        stream_.refuseLink(entry, reason);
    }

private:
    PackageStream& stream_;
};

/// Extracts the source's entries and remembers the files that were left out, which later hard links may name.
class EntryLoop {
public:
    EntryLoop(ExtractSource& source, Target& target) : source_(source), target_(target) {}

    void run() {
        // One entry for all rounds, which spares its strings' memory.
        for (Entry entry; source_.next(entry);) {
            if (const auto path = target_.pathOf(entry, source_.path())) {
                // Before anything is made: refuses a link to a file that was left out.
                const std::string linkPath = linkPathOf(entry);
                source_.check(entry);
                target_.make(entry, *path, linkPath, [this] { return source_.read(); });
            } else if (entry.type == EntryType::file || entry.type == EntryType::hardlink) {
                // Only these can be the target of a hard link.
                leftOut_.insert(source_.path());
            }
        }
    }

private:
    std::string linkPathOf(const Entry& entry) const {
        if (entry.type != EntryType::hardlink) {
            return {};
        }
        const std::string target = plainPath(entry.linkTarget);
        if (leftOut_.count(target) != 0) {  // guard: links to files that are left out
            source_.refuseLink(entry,
                               "is a hard link to " + quotedName(entry.linkTarget) + ", which is not extracted");
        }
        // "" where the target is left out by stripping; Extraction then refuses it.
        return target_.pathOf(target).value_or("");
    }

    ExtractSource& source_;
    Target& target_;
    std::set<std::string> leftOut_;
};

}  // namespace

ExtractResult extractFrom(ExtractSource& source, const std::string& destination, const ExtractOptions& options,
                          System& system) {
    Target target(destination, source.name(), options, system, source.threads());
    target.settledAfter([&] { EntryLoop(source, target).run(); });
    return target.finish();
}

ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system) {
    StreamSource source(stream);
    return extractFrom(source, destination, options, system);
}

ExtractResult extractMembers(const std::vector<ControlMember>& members, const std::string& package,
                             const std::string& destination, const ExtractOptions& options, System& system) {
    Target target(destination, package, options, system, 1);
    for (const ControlMember& member : members) {
        if (const auto path = target.pathOf(member.entry, plainPath(member.entry.path))) {
            std::string_view rest = member.contents;
            // The contents in one piece, then empty: the end.
            target.make(member.entry, *path, {}, [&rest] { return Piece{std::exchange(rest, {}), nullptr}; });
        }
    }
    return target.finish();
}

}  // namespace bex::stream

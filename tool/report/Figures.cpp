#include "report/Figures.hpp"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "report/Kinds.hpp"
#include "report/PayloadShares.hpp"

namespace bex::tool {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

/// Reads the payload once. `position` is how much of the package has been read so far; the source counts it while
/// the reader reads.
class Reading {
public:
    Reading(stream::PackageReader& reader, const std::uint64_t& position)
        : reader_(reader), position_(position), buffer_(kPieceBytes) {}

    void readInto(PackageFigures& figures) {
        for (stream::Entry entry; reader_.next(entry);) {
            if (!shares_) {
                // With the first entry the payload's member is known: what was read before its beginning is not
                // part of it.
                shares_.emplace(reader_.members().back().offset);
            }
            const char* const kind = readContents(entry);
            figures.entries.push_back({stream::plainPath(entry.path), entry.type, entry.size, 0});
            kinds_.push_back(kind);
            figures.size += entry.size;
        }
        divide(figures);
    }

private:
    const char* readContents(const stream::Entry& entry) {
        std::size_t count = reader_.read(buffer_.data(), buffer_.size());
        // The first piece is enough for the kind, and is there in any case.
        const char* const kind = kindOf(entry, {buffer_.data(), count});
        while (count > 0) {
            shares_->add(count, position_);
            count = reader_.read(buffer_.data(), buffer_.size());
        }
        return kind;
    }

    /// Only now is it known how many contents each block has.
    void divide(PackageFigures& figures) {
        // In the order of the payload, in which packedBefore() wants its offsets. Differences of sums add up to
        // the whole, where rounded shares would not.
        std::uint64_t offset = 0;
        std::uint64_t packed = 0;
        for (std::size_t i = 0; i < figures.entries.size(); ++i) {
            EntryFigures& entry = figures.entries[i];
            offset += entry.size;
            entry.packed = shares_->packedBefore(offset) - packed;
            packed += entry.packed;
            KindFigures& kind = figures.kinds[kinds_[i]];
            ++kind.entries;
            kind.size += entry.size;
            kind.packed += entry.packed;
        }
    }

    stream::PackageReader& reader_;
    const std::uint64_t& position_;
    std::vector<char> buffer_;
    std::optional<PayloadShares> shares_;
    std::vector<const char*> kinds_;  // of the entries, in their order
};

}  // namespace

PackageFigures figuresOf(std::unique_ptr<stream::ForwardSource> source, const std::string& name,
                         stream::ReadOptions options) {
    // Threads would read ahead, and what has been read would not belong to the contents that come out.
    options.threads = 1;
    std::uint64_t position = 0;
    stream::PackageReader reader(std::make_unique<CountedSource>(std::move(source), position), name, options);
    PackageFigures figures;
    figures.name = name;
    figures.control = reader.control();
    for (const auto& member : reader.controlMembers()) {
        figures.controlEntries.push_back(member.entry);
    }
    Reading(reader, position).readInto(figures);
    figures.members = reader.members();
    const auto data =
        std::find_if(figures.members.begin(), figures.members.end(),
                     [](const stream::Member& member) { return member.name.rfind("data.tar", 0) == 0; });
    figures.packed = data->size;  // reading ends without it in an error
    figures.packageBytes = position;
    return figures;
}

}  // namespace bex::tool

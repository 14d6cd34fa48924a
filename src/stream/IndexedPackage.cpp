#include "bex/stream/IndexedPackage.hpp"

#include <algorithm>
#include <utility>

#include "stream/base/Lazy.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/extract/ExtractLoop.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/reader/EntryPolicy.hpp"
#include "stream/reader/IndexedPayload.hpp"
#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

namespace {

OpenInput openFile(const std::string& path) {
    // A pipe has no end to look at before it is read.
    OpenInput input = openInput(path, System::real());
    if (input.source == nullptr) {
        throw invalidInput(path, "only a regular file can be read by its index");
    }
    return input;
}

/// Has the end of the package fetched while its front is read: an index is there, in most packages not larger.
void announceIndex(Source& source) {
    constexpr std::uint64_t least = std::uint64_t{64} << 10;
    constexpr std::uint64_t most = std::uint64_t{1} << 20;
    const std::uint64_t size = source.size();
    // Of packages of small files up to a 128th; of large ones less, so that all of it stays a small part.
    const std::uint64_t tail =
        std::min(size, std::clamp(size / 4096, std::clamp(size / 128, least, most / 4), most));
    source.willRead({{size - tail, tail}});
}

/// The contents of the row from `position` on, as far as they lie in one block; empty at their end.
std::string_view contentsAt(const IndexedPayload& payload, const IndexRow& row, std::uint64_t position,
                            std::shared_ptr<const Buffer>& block) {
    // Compared first, so that the difference below cannot wrap. seek() accepts any position.
    if (position >= row.entry.size) {
        return {};
    }
    // An entry ends before the archive does, so that there are bytes.
    const std::string_view bytes = payload.bytesAt(row.extent.contents + position, block);
    return bytes.substr(
        0, static_cast<std::size_t>(std::min<std::uint64_t>(row.entry.size - position, bytes.size())));
}

}  // namespace

struct EntryStream::State {
    // Shared: a stream may outlive the package object from which it was opened.
    std::shared_ptr<const IndexedPayload> payload;
    IndexRow row;
    std::uint64_t position = 0;
    std::uint64_t announced = 0;          // of the contents: how far the source knows that they are read
    std::shared_ptr<const Buffer> block;  // keeps the bytes that were read last

    /// Says to the source that the contents up to `end` will be read, or more where a block ends later.
    void announce(std::uint64_t begin, std::uint64_t end) {
        payload->announce({{begin, row.extent.contents + end}});
        announced =
            std::min(row.entry.size, payload->blockEndBefore(row.extent.contents + end) - row.extent.contents);
    }
};

EntryStream::EntryStream(std::unique_ptr<State> state) : state_(std::move(state)) {}
EntryStream::~EntryStream() = default;
// A copy shares payload and block, which nobody changes, and has a position of its own.
EntryStream::EntryStream(const EntryStream& other) : state_(std::make_unique<State>(*other.state_)) {}
EntryStream::EntryStream(EntryStream&&) noexcept = default;
EntryStream& EntryStream::operator=(const EntryStream& other) {
    state_ = std::make_unique<State>(*other.state_);
    return *this;
}
EntryStream& EntryStream::operator=(EntryStream&&) noexcept = default;

const Entry& EntryStream::entry() const noexcept {
    return state_->row.entry;
}

std::uint64_t EntryStream::size() const noexcept {
    return state_->row.entry.size;
}

std::uint64_t EntryStream::position() const noexcept {
    return state_->position;
}

void EntryStream::seek(std::uint64_t position) noexcept {
    state_->position = position;
}

std::size_t EntryStream::read(char* buffer, std::size_t size) {
    State& state = *state_;
    // Whoever has come to the end of what was announced goes on, as a rule; after a jump nothing shows that.
    if (state.position == state.announced && state.announced < state.row.entry.size) {
        state.announce(state.row.extent.contents + state.announced, state.row.entry.size);
    }
    // At most to the end of a block; the caller calls again for more.
    const std::string_view bytes = contentsAt(*state.payload, state.row, state.position, state.block);
    size = bytes.copy(buffer, size);
    state.position += size;
    return size;
}

struct IndexedPackage::State {
    State(OpenInput input, const std::string& name, const ReadOptions& given) : options(given), place(name) {
        // Kept before `input` is moved: the payload reads the same source later, by offset.
        const std::shared_ptr<Source> source = input.source;
        announceIndex(*source);
        stream = std::make_unique<PackageStream>(std::move(input), place, options);
        // Before the index is looked at: it says nothing about a package whose members are not where they should
        // be. The control archive is read when it is asked for, since entries and contents can do without.
        stream->checkStructure(false);
        const Member& data = *stream->member(MemberRole::data);  // there: the structure was checked
        payload = std::make_shared<IndexedPayload>(source, data, place.in(data.name), options.limits);
    }

    const std::vector<ControlMember>& controlMembers() {
        return readMembers.get([this] { return stream->readControl(); });
    }

    const ControlParagraph& control() {
        return paragraph.get([this] { return parseControl(controlMembers(), place); });
    }

    const ReadOptions options;
    const Place place;
    std::unique_ptr<PackageStream> stream;
    std::shared_ptr<const IndexedPayload> payload;

private:
    Lazy<std::vector<ControlMember>> readMembers;
    Lazy<ControlParagraph> paragraph;
};

namespace {

/// Which entries are extracted. Their blocks are announced together, so that a source that is far away fetches
/// them ahead and in few pieces. Nothing for a source that does not.
std::optional<std::vector<bool>> announceChosen(const IndexedPayload& payload, const ExtractOptions& options) {
    if (!payload.announce({})) {
        return std::nullopt;
    }
    std::vector<bool> chosen(payload.size());
    std::vector<IndexedPayload::Part> parts;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        const IndexRow row = payload.row(i);
        chosen[i] = !options.select || options.select(row.entry);
        if (chosen[i]) {
            // A dry run confirms the headers and reads no contents.
            const std::uint64_t contents = row.extent.contents;
            parts.push_back({row.extent.begin, options.dryRun ? contents : contents + row.entry.size});
        }
    }
    payload.announce(parts);
    return chosen;
}

/// The entries of the index, for extraction. Only those that are extracted are checked and read.
class IndexedSource final : public ExtractSource {
public:
    IndexedSource(std::shared_ptr<const IndexedPayload> payload, std::string name, const ReadOptions& options)
        : payload_(std::move(payload)),
          name_(std::move(name)),
          threads_(threadCount(options.threads)),
          policy_(options.limits, payload_->place()),
          progress_(options.progress) {}

    const std::string& name() const noexcept override { return name_; }
    unsigned threads() const override { return threads_; }

    bool next(Entry& entry) override {
        // size() bounds the numbers: row() does not check them.
        if (next_ == payload_->size()) {
            progress_.finish();
            return false;
        }
        row_ = payload_->row(next_++);
        entry = row_.entry;
        path_ = plainPath(entry.path);
        read_ = 0;
        return true;
    }

    const std::string& path() const noexcept override { return path_; }
    /// The current entry's.
    std::size_t number() const noexcept { return next_ - 1; }

    void check(const Entry& entry) override {
        // The policy sees only what is extracted, in the package's order; rules about other entries are not
        // applied.
        policy_.check(entry);
        // Before anything is made of the entry: only the headers in the payload are what dpkg would install.
        payload_->confirm(row_);
    }

    Piece read() override {
        // The row is the one that next() gave: this thread alone uses the source.
        const std::string_view bytes = contentsAt(*payload_, row_, read_, block_);
        read_ += bytes.size();
        progress_.add(bytes.size(), row_.entry.path);
        return {bytes, block_};
    }

    [[noreturn]] void refuseLink(const Entry& entry, const std::string& reason) const override {
        payload_->place().at(entry.path).fail(ErrorKind::refused, "hardlink-target", reason);
    }

private:
    const std::shared_ptr<const IndexedPayload> payload_;
    const std::string name_;
    const unsigned threads_;
    EntryPolicy policy_;
    ProgressMeter progress_;
    std::size_t next_ = 0;
    IndexRow row_;
    std::string path_;
    std::uint64_t read_ = 0;  // of the current entry's contents
    std::shared_ptr<const Buffer> block_;
};

}  // namespace

IndexedPackage::IndexedPackage(const std::string& path, const ReadOptions& options)
    : state_(std::make_unique<State>(openFile(path), path, options)) {}

IndexedPackage::IndexedPackage(std::shared_ptr<Source> source, const std::string& name, const ReadOptions& options)
    : state_(std::make_unique<State>(openInput(std::move(source)), name, options)) {}

IndexedPackage::~IndexedPackage() = default;
IndexedPackage::IndexedPackage(IndexedPackage&&) noexcept = default;
IndexedPackage& IndexedPackage::operator=(IndexedPackage&&) noexcept = default;

const ControlParagraph& IndexedPackage::control() const {
    return state_->control();
}

const std::vector<ControlMember>& IndexedPackage::controlMembers() const {
    return state_->controlMembers();
}

const std::vector<Member>& IndexedPackage::members() const noexcept {
    return state_->stream->members();
}

std::size_t IndexedPackage::size() const noexcept {
    return state_->payload->size();
}

std::uint64_t IndexedPackage::indexBytes() const noexcept {
    return state_->payload->indexBytes();
}

IndexedEntry IndexedPackage::at(std::size_t number) const {
    // A copy of the row: its group may leave the cache.
    IndexRow row = state_->payload->row(number);
    return {std::move(row.entry), row.extent.begin};
}

std::optional<std::size_t> IndexedPackage::find(std::string_view plain) const {
    return state_->payload->find(plain);
}

EntryStream IndexedPackage::open(std::size_t number) const {
    // A hard link is followed to the file that holds the bytes.
    const std::optional<std::size_t> found = state_->payload->contentsOf(number);
    if (!found) {
        state_->payload->place()
            .at(state_->payload->row(number).entry.path)
            .fail(ErrorKind::invalidInput, "has no contents to read");
    }
    auto stream = std::make_unique<EntryStream::State>();
    stream->payload = state_->payload;
    stream->row = state_->payload->row(*found);
    // Of a large file no more than its first block: nothing shows yet that all of it is read.
    stream->announce(stream->row.extent.begin, std::min(stream->row.entry.size, state_->payload->blockBytes()));
    // Once for each stream; every block is checked when it is unpacked.
    state_->payload->confirm(stream->row);
    return EntryStream(std::move(stream));
}

ExtractResult IndexedPackage::extract(const std::string& destination, const ExtractOptions& options) const {
    // A source of its own for each call, so that several threads may extract at once.
    IndexedSource source(state_->payload, state_->place.package(), state_->options);
    const std::optional<std::vector<bool>> chosen = announceChosen(*state_->payload, options);
    if (!chosen) {
        return extractFrom(source, destination, options, System::real());
    }
    // The caller has been asked about each entry, and is not asked again.
    ExtractOptions known = options;
    known.select = [&](const Entry&) { return (*chosen)[source.number()]; };
    return extractFrom(source, destination, known, System::real());
}

}  // namespace bex::stream

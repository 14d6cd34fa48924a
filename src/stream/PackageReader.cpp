#include "bex/stream/PackageReader.hpp"

#include <utility>

#include "stream/base/Lazy.hpp"
#include "stream/extract/ExtractLoop.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

struct PackageReader::State {
    State(OpenInput input, const std::string& name, const ReadOptions& options)
        : stream(std::move(input), Place(name), options) {
        // Before contents are read, as far as the input allows (PackageMembers).
        stream.checkStructure();
        members = stream.readControl(options.controlFileOnly);
        try {
            stream.expect(control());
        } catch (const StreamError&) {  // control() throws it again; the payload can do without
        }
    }

    const ControlParagraph& control() {
        return paragraph.get([this] { return parseControl(members, stream.name()); });
    }

    PackageStream stream;
    std::vector<ControlMember> members;
    Lazy<ControlParagraph> paragraph;
    std::string_view unread;  // of the current entry, taken from the stream
};

PackageReader::PackageReader(const std::string& path, const ReadOptions& options)
    : state_(std::make_unique<State>(openInput(path, System::real()), path, options)) {}

PackageReader::PackageReader(int descriptor, const std::string& name, const ReadOptions& options)
    : state_(std::make_unique<State>(openInput(OpenFile{descriptor, {}}, name, System::real()), name, options)) {}

PackageReader::PackageReader(std::shared_ptr<Source> source, const std::string& name, const ReadOptions& options)
    : state_(std::make_unique<State>(openInput(std::move(source)), name, options)) {}

PackageReader::PackageReader(std::unique_ptr<ForwardSource> source, const std::string& name,
                             const ReadOptions& options)
    : state_(std::make_unique<State>(openInput(std::move(source)), name, options)) {}

PackageReader::~PackageReader() = default;
PackageReader::PackageReader(PackageReader&&) noexcept = default;
PackageReader& PackageReader::operator=(PackageReader&&) noexcept = default;

const ControlParagraph& PackageReader::control() const {
    return state_->control();
}

const std::vector<ControlMember>& PackageReader::controlMembers() const noexcept {
    return state_->members;
}

const ControlMember* PackageReader::findControlMember(std::string_view name) const noexcept {
    return findMember(state_->members, name);
}

const std::vector<Member>& PackageReader::members() const noexcept {
    return state_->stream.members();
}

std::optional<std::uint64_t> PackageReader::indexBytes() const {
    return state_->stream.indexBytes();
}

bool PackageReader::next(Entry& entry) {
    // What the caller left of the entry before; the stream skips the rest.
    state_->unread = {};
    return state_->stream.next(entry);
}

std::size_t PackageReader::read(char* buffer, std::size_t size) {
    State& state = *state_;
    // Without an entry there is nothing to read from, and path() would have no reader.
    if (!state.stream.begun()) {
        throw invalidInput(state.stream.name(), "read() was called before next()");
    }
    // The stream gives views of its own buffer, which live until its next call: what did not fit waits here.
    if (state.unread.empty() && size != 0) {
        state.unread = state.stream.read();
    }
    // copy() takes at most what is there: 0 at the end of the entry.
    size = state.unread.copy(buffer, size);
    state.unread.remove_prefix(size);
    return size;
}

ExtractResult PackageReader::extract(const std::string& destination, const ExtractOptions& options) {
    return extractAll(state_->stream, destination, options, System::real());
}

ExtractResult PackageReader::extractControl(const std::string& destination, const ExtractOptions& options) const {
    return extractMembers(state_->members, state_->stream.name(), destination, options, System::real());
}

void PackageReader::copyControlTar(Sink& out) {
    state_->stream.copyControl(out);
}

void PackageReader::copyPayloadTar(Sink& out) {
    state_->stream.copyPayload(out);
}

}  // namespace bex::stream

#include "bex/stream/PackageReader.hpp"

#include <algorithm>

#include "stream/control/ParagraphParser.hpp"
#include "stream/extract/ExtractLoop.hpp"
#include "stream/extract/Extraction.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

class PackageReader::State {
public:
    template <typename... Where>
    explicit State(const ReadOptions& options, const Where&... where)
        : stream_(where..., options, System::real()) {
        stream_.checkStructure();
        members_ = stream_.readControl();
        control_ = parseParagraph(findMember(members_, "control")->contents, Place(stream_.name()).at("control"));
    }

    const ControlParagraph& control() const noexcept { return control_; }
    const std::vector<ControlMember>& controlMembers() const noexcept { return members_; }
    const std::vector<Member>& members() const noexcept { return stream_.members(); }

    bool next(Entry& entry) {
        run_ = {};
        position_ = 0;
        size_ = 0;
        if (!stream_.next(entry)) {
            return false;
        }
        size_ = entry.size;
        return true;
    }

    std::size_t read(char* buffer, std::size_t size) {
        size = static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - position_));
        if (size == 0) {
            return 0;
        }
        if (run_.bytes.empty() && !stream_.nextRun(run_)) {
            run_.offset = size_;  // what is left is a hole
        }
        if (run_.offset > position_) {
            size = static_cast<std::size_t>(std::min<std::uint64_t>(size, run_.offset - position_));
            std::fill_n(buffer, size, '\0');
        } else {
            size = run_.bytes.copy(buffer, size);
            run_.bytes.remove_prefix(size);
            run_.offset += size;
        }
        position_ += size;
        return size;
    }

    ExtractResult extract(const std::string& destination, const ExtractOptions& options) {
        return extractAll(stream_, destination, options, System::real());
    }

    ExtractResult extractControl(const std::string& destination, const ExtractOptions& options) const {
        return extractMembers(members_, stream_.name(), destination, options, System::real());
    }

private:
    PackageStream stream_;
    std::vector<ControlMember> members_;
    ControlParagraph control_;
    EntryReader::Run run_;        // of the current entry, what read() has yet to give
    std::uint64_t position_ = 0;  // in the current entry's contents
    std::uint64_t size_ = 0;
};

PackageReader::PackageReader(const std::string& path, const ReadOptions& options)
    : state_(std::make_unique<State>(options, Place(path))) {}

PackageReader::PackageReader(int descriptor, const std::string& name, const ReadOptions& options)
    : state_(std::make_unique<State>(options, descriptor, Place(name))) {}

PackageReader::~PackageReader() = default;
PackageReader::PackageReader(PackageReader&&) noexcept = default;
PackageReader& PackageReader::operator=(PackageReader&&) noexcept = default;

const ControlParagraph& PackageReader::control() const noexcept {
    return state_->control();
}

const std::vector<ControlMember>& PackageReader::controlMembers() const noexcept {
    return state_->controlMembers();
}

const ControlMember* PackageReader::findControlMember(std::string_view name) const noexcept {
    return findMember(state_->controlMembers(), name);
}

const std::vector<Member>& PackageReader::members() const noexcept {
    return state_->members();
}

bool PackageReader::next(Entry& entry) {
    return state_->next(entry);
}

std::size_t PackageReader::read(char* buffer, std::size_t size) {
    return state_->read(buffer, size);
}

ExtractResult PackageReader::extract(const std::string& destination, const ExtractOptions& options) {
    return state_->extract(destination, options);
}

ExtractResult PackageReader::extractControl(const std::string& destination, const ExtractOptions& options) const {
    return state_->extractControl(destination, options);
}

}  // namespace bex::stream

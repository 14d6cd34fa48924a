#include "stream/reader/PackageStream.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/reader/HeaderForecast.hpp"

namespace bex::stream {

std::uint64_t payloadLimit(const Limits& limits, std::uint64_t memberBytes) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    // Divided, not multiplied: the product could wrap.
    if (limits.expansionRatio != 0 && memberBytes > most / limits.expansionRatio) {
        return most;  // the product does not fit
    }
    return std::max(limits.expansionFreeBytes, memberBytes * limits.expansionRatio);
}

PackageStream::PackageStream(OpenInput input, const Place& place, const ReadOptions& options)
    : options_(options), place_(place), members_(std::move(input), place_), progress_(options_.progress) {}

/// Keeps the exception that a step ends with, for every call after it.
template <typename Step>
auto PackageStream::guarded(Step step) {
    return failure_.guard([&] {
        try {
            return step();
        } catch (const StreamError& failure) {
            if (failure.kind() != ErrorKind::cancelled) {
                throw;
            }
            throw place_.error(failure.kind(), failure.code(), "cancelled");
        }
    });
}

EntryReaderSettings PackageStream::controlSettings() const {
    EntryReaderSettings settings;
    settings.unpacking.limits = options_.limits;
    settings.unpacking.strict = strict_;
    settings.unpacking.threads = threads();
    settings.bytesLimit = {options_.limits.controlBytes, "controlBytes",
                           "the limits controlBytes and md5sumsBytes"};
    return settings;
}

EntryReaderSettings PackageStream::payloadSettings(const Member& member) const {
    EntryReaderSettings settings;
    settings.unpacking.limits = options_.limits;
    settings.unpacking.strict = strict_;
    settings.unpacking.threads = threads();
    settings.copy = payloadCopy_;
    settings.checkIndex = true;
    settings.bytesLimit = {payloadLimit(options_.limits, member.size), "expansionRatio",
                           "the limits expansionRatio and expansionFreeBytes"};
    return settings;
}

std::vector<ControlMember> PackageStream::readControl(bool controlFileOnly) {
    // A copy: open() gives a reference into a vector that grows in a pipe.
    const Member member = members_.open(MemberRole::control);
    const Place place = place_.in(member.name);
    EntryReaderSettings settings = controlSettings();
    // Little is read of a large control archive when only its first file is wanted.
    settings.unpacking.gradual = controlFileOnly;
    if (!controlFileOnly) {
        members_.announce(member);
    }
    EntryReader entries(members_.contents(), member.compression, settings, place);
    ControlArchive archive = readControlArchive(entries, options_.limits, place, controlFileOnly);
    controlRoot_ = std::move(archive.root);
    return std::move(archive.members);
}

void PackageStream::expect(const ControlParagraph& control) {
    std::uint64_t kibibytes = 0;
    if (const std::string* const size = control.find("Installed-Size")) {
        kibibytes = parseWhole<std::uint32_t>(*size).value_or(0);  // 32 bits, so that the product fits
    }
    progress_.expect(kibibytes * 1024);
}

void PackageStream::openPayload() {
    // A copy, as in readControl().
    const Member member = members_.open(MemberRole::data);
    dataMember_ = member.name;
    EntryReaderSettings settings = payloadSettings(member);
    if (const std::optional<SourceOffset> origin = members_.contents().origin()) {
        settings.unpacking.forecast = [source = origin->source, member, limits = options_.limits] {
            return forecastHeaders(source, member, limits);
        };
    }
    payload_ =
        std::make_unique<EntryReader>(members_.contents(), member.compression, settings, place_.in(member.name));
}

std::optional<std::uint64_t> PackageStream::indexBytes() {
    // While the payload is read, its stream must not be moved.
    if (!members_.seekable() || payload_ != nullptr) {
        return std::nullopt;
    }
    const Member member = members_.open(MemberRole::data);
    // The size is compared before it is subtracted from below.
    if (member.compression != Compression::gzip || member.size < kIndexFooterBytes) {
        return std::nullopt;
    }
    std::string end(kIndexFooterBytes, '\0');
    members_.contents().skip(member.size - end.size());
    end.resize(readFully(members_.contents(), end.data(), end.size()));
    const std::optional<IndexFooter> footer = parseIndexFooter(end);
    // The footer is the package's word: a length beyond the member's would be one of something else.
    if (!footer || footer->bytes > member.size) {
        return std::nullopt;
    }
    return footer->bytes + kIndexFooterBytes;
}

void PackageStream::copyControl(Sink& out) {
    if (!members_.seekable()) {
        throw invalidInput(name(), "the control archive cannot be read twice from a pipe");
    }
    // One member is open at a time: opening this one would take the payload's bytes away.
    if (payload_ != nullptr) {
        throw invalidInput(name(), "the control archive cannot be read while the payload is");
    }
    const Member member = members_.open(MemberRole::control);
    EntryReaderSettings settings = controlSettings();
    // md5sums counts apart when members are read; as tar, both are one stream of bytes.
    settings.bytesLimit.bytes += options_.limits.md5sumsBytes;
    copyTar(members_.contents(), member.compression, settings, place_.in(member.name), out);
}

void PackageStream::copyPayload(Sink& out) {
    guarded([&] {
        // Only once and from the front: the bytes before the current place are gone.
        if (begun()) {
            throw invalidInput(name(), "the payload has been read already");
        }
        const Member member = members_.open(MemberRole::data);
        copyTar(members_.contents(), member.compression, payloadSettings(member), place_.in(member.name), out);
        finish();
    });
}

bool PackageStream::next(Entry& entry) {
    return guarded([&] { return goOn(entry); });
}

bool PackageStream::goOn(Entry& entry) {
    if (ended_) {
        return false;
    }
    // What the caller left unread of the last entry is skipped now; it counts as done all the same.
    progress_.add(std::exchange(entryLeft_, 0), entryPath_);
    if (!payload_) {
        openPayload();
    }
    // Counted when the caller has read it, or skips it.
    if (payload_->next(entry)) {
        entryPath_ = entry.path;
        entryLeft_ = entry.size;
        return true;
    }
    payload_.reset();  // its threads may read the source
    finish();
    return false;
}

void PackageStream::finish() {
    ended_ = true;
    // The members after the payload are checked before success is reported.
    members_.finish();
    progress_.finish();
}

Piece PackageStream::readToKeep() {
    const std::string_view bytes = read();
    if (bytes.empty()) {
        return {};
    }
    return {bytes, payload_->hold()};
}

std::string_view PackageStream::read() {
    return guarded([&] {
        std::string_view bytes;
        if (payload_) {
            bytes = payload_->read();
        }
        if (!bytes.empty()) {
            // An entry's contents never exceed the size in its header, so that this does not wrap.
            entryLeft_ -= bytes.size();
            progress_.add(bytes.size(), entryPath_);
        }
        return bytes;
    });
}

}  // namespace bex::stream

#include "stream/tar/TarExtensions.hpp"

#include <algorithm>

namespace bex::stream {

namespace {

constexpr char kLongPath = 'L';
constexpr char kLongLink = 'K';
constexpr char kPaxRecords = 'x';

/// The name or target that a GNU extension carries. Its size includes a final NUL: GNU tar reads on without it.
std::string longText(std::string_view body, const Place& place) {
    // Up to the first NUL, which must be there and have nothing but NULs after it: readers stop at different ones.
    const std::string_view text = body.substr(0, std::min(body.find('\0'), body.size()));
    if (text.empty() || text.size() == body.size() || !isZeroBlock(body.substr(text.size()))) {
        place.fail(ErrorKind::damaged, "tar-long",
                   "extended name that is empty, has no final NUL or has bytes after it");
    }
    return std::string(text);
}

struct NamedSize {
    const char* name;
    std::uint64_t bytes;
};

void checkLimit(const NamedSize& part, const NamedSize& limit, const Place& place) {
    if (part.bytes > limit.bytes) {  // guard: extended headers
        place.failLimit(limit.name, std::string(part.name) + " of " + std::to_string(part.bytes) +
                                        " bytes; the limit " + limit.name + " allows " +
                                        std::to_string(limit.bytes));
    }
}

template <typename Value>
void replace(Value& value, const std::optional<Value>& other) {
    if (other) {
        value = *other;
    }
}

}  // namespace

bool TarExtensions::isExtension(char type) noexcept {
    return type == kLongPath || type == kLongLink || type == kPaxRecords;
}

/// Before the body is read: its size is the header's word alone.
void TarExtensions::checkSize(const TarHeader& header, const Limits& limits, const Place& place) {
    if (header.type == kPaxRecords) {
        checkLimit({"extended header", header.size}, {"extendedHeaderBytes", limits.extendedHeaderBytes}, place);
    } else {
        // The final NUL is no part of the name. A size of 0 must not wrap; add() then refuses the empty body.
        const std::uint64_t withoutNul = header.size - std::min<std::uint64_t>(header.size, 1);
        checkLimit({"extended name", withoutNul}, {"nameBytes", limits.nameBytes}, place);
    }
}

void TarExtensions::add(char type, std::string_view body, const Place& place) {
    if (type == kPaxRecords) {
        if (pax_) {
            place.fail(ErrorKind::damaged, "tar-pax", "two extended headers for one entry");
        }
        pax_ = parsePaxRecords(body, place);
        return;
    }
    // Path and target may both be there, each once.
    std::optional<std::string>& text = type == kLongPath ? path_ : link_;
    if (text) {  // guard: two long names for one entry
        place.fail(ErrorKind::damaged, "tar-long", "two extended names for one entry");
    }
    text = longText(body, place);
}

void TarExtensions::applyTo(TarHeader& header, const Place& place) const {
    replace(header.path, path_);
    replace(header.link, link_);
    if (!pax_) {
        return;
    }
    // Which of the two counts differs between readers, and with it the name under which a file is extracted.
    if ((pax_->path && path_) || (pax_->link && link_)) {
        place.fail(ErrorKind::damaged, "tar-pax", "two kinds of extended names for one entry");
    }
    // GNU tar then takes the record's target, libarchive none.
    if (pax_->link && header.link.empty()) {  // guard: a target in pax alone
        place.fail(ErrorKind::unsupported, "tar-pax",
                   "extended header: readers disagree on \"linkpath\" for an entry without a target of its own");
    }
    replace(header.path, pax_->path);
    replace(header.link, pax_->link);
    replace(header.owner, pax_->owner);
    replace(header.group, pax_->group);
    replace(header.size, pax_->size);
    replace(header.uid, pax_->uid);
    replace(header.gid, pax_->gid);
    replace(header.mtime, pax_->mtime);
}

}  // namespace bex::stream

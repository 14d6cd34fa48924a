#include "stream/ar/ArWriter.hpp"

#include <cstddef>

#include "stream/ar/ArFormat.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

std::string field(std::string_view text, std::size_t width) {
    // resize() would cut what is too long: names have at most 16 bytes, and numbers are bounded.
    std::string padded(text);
    padded.resize(width, ' ');
    return padded;
}

}  // namespace

StreamError memberTooLarge(std::string_view name, std::uint64_t limit) {
    return Place("")
        .in(std::string(name))
        .error(ErrorKind::invalidInput, "member-size",
               "more than the " + std::to_string(limit) + " bytes that a member of an ar archive can have");
}

std::string memberHeader(std::string_view name, std::uint64_t size, std::int64_t mtime) {
    // Eleven digits would move every field after them.
    if (size > kMostMemberBytes) {
        throw memberTooLarge(name);
    }
    return field(name, 16) + field(std::to_string(mtime), 12) + field("0", 6) + field("0", 6) +
           field("100644", 8) + field(std::to_string(size), 10) + "`\n";
}

ArWriter::ArWriter(Sink& out) : out_(out) {
    write(kArMagic);
}

void ArWriter::beginMember(std::string_view name, std::uint64_t size, std::int64_t mtime) {
    const std::string header = memberHeader(name, size, mtime);
    out_.write(header.data(), header.size());
    count(header.size());
}

void ArWriter::write(std::string_view bytes) {
    out_.write(bytes.data(), bytes.size());
    size_ += bytes.size();
}

void ArWriter::endMember() {
    if (size_ % 2 != 0) {
        write("\n");
    }
}

void ArWriter::addMember(std::string_view name, std::string_view bytes, std::int64_t mtime) {
    beginMember(name, bytes.size(), mtime);
    write(bytes);
    endMember();
}

}  // namespace bex::stream

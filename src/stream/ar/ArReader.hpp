#pragma once

#include <optional>

#include "bex/stream/Member.hpp"
#include "stream/ar/MemberStream.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// Walks the members of an ar archive (ar(5), deb(5)): "!<arch>\n", then for each member a header of 60 bytes,
/// its contents and, when their size is odd, one byte more, which the last member may lack.
/// A header that is not well formed throws StreamError; nothing is allocated by a number that it gives.
class ArReader {
public:
    /// `source` must outlive this.
    ArReader(ByteStream& source, Place place) : source_(source), place_(std::move(place)) {}

    /// Passes over what is left of the current member and reads the next header; nothing at the end.
    /// `complete`: no further member is needed, so that what is not a header is called bytes after the last one.
    std::optional<Member> next(bool complete);

    /// The current member's contents; valid until next().
    ByteStream& contents() { return *contents_; }

private:
    void readMagic();
    void passOver();
    [[noreturn]] void failTruncated(std::string_view header) const;

    ByteStream& source_;
    Place place_;
    std::uint64_t offset_ = 0;
    std::optional<Member> current_;
    std::optional<MemberStream> contents_;
};

}  // namespace bex::stream

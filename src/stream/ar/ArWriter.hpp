#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bex/stream/Sink.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::stream {

/// The most bytes that a member of an ar archive can have: its header has ten decimal digits for them.
constexpr std::uint64_t kMostMemberBytes = 9999999999;

/// The error (`invalidInput`) for a member that has more bytes than that, naming the limit.
StreamError memberTooLarge(std::string_view name, std::uint64_t limit = kMostMemberBytes);

/// The header of a member, 60 bytes: its name filled up with blanks as dpkg does, owner 0, mode 100644. `mtime` is
/// 0 to 999999999999. Throws memberTooLarge().
std::string memberHeader(std::string_view name, std::uint64_t size, std::int64_t mtime);

/// Writes the ar container of a package, deb(5), front to back.
class ArWriter {
public:
    /// Writes the archive's first line. `out` must outlive this.
    explicit ArWriter(Sink& out);

    /// Begins a member of at most sixteen bytes of name; exactly `size` bytes must follow. Throws as
    /// memberHeader(), and whatever `out` throws.
    void beginMember(std::string_view name, std::uint64_t size, std::int64_t mtime);
    void write(std::string_view bytes);
    /// Counts bytes that `out` has got in another way.
    void count(std::uint64_t bytes) noexcept { size_ += bytes; }
    /// Ends the member: an odd one is filled up with a newline.
    void endMember();

    void addMember(std::string_view name, std::string_view bytes, std::int64_t mtime);

    /// Length of the archive so far.
    std::uint64_t size() const noexcept { return size_; }

private:
    Sink& out_;
    std::uint64_t size_ = 0;
};

}  // namespace bex::stream

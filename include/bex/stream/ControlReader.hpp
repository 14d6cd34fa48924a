#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Reads control files of several paragraphs one after the other: Packages and Sources indexes, .dsc and .changes
/// files, dpkg's status (deb822(5), dsc(5), deb-changes(5)). Keeps one paragraph at a time in memory, however long
/// the file is. Paragraphs are separated by empty lines; each is read by the rules of ControlParagraph::parse().
///
/// A text in a cleartext signature (RFC 4880, section 7) is read without its armour. The signature is not
/// verified, but text outside of it is refused, so that what is read is what a verifier checks.
///
/// Failures are StreamErrors, `NAME:LINE:COLUMN: reason` as in ControlParagraph::parse(), with lines counted
/// through the whole file. After a failure every further call fails in the same way.
/// Used by one thread at a time. Movable, not copyable.
class BEX_EXPORT ControlReader {
public:
    /// Reads up to `size` bytes, at least one, into the buffer and returns their number; 0 at the end. Its
    /// exceptions pass through the reader.
    using Read = std::function<std::size_t(char* buffer, std::size_t size)>;

    static constexpr std::size_t kUsualParagraphBytes = std::size_t{16} << 20;

    /// Messages call the text `name`. A paragraph of more than `paragraphBytes` bytes is refused
    /// (`limitExceeded`), so that memory stays below a small multiple of it.
    ControlReader(Read read, std::string_view name, std::size_t paragraphBytes = kUsualParagraphBytes);

    /// Reads an uncompressed file or a pipe. Throws StreamError (`inputOutput`) if it cannot be opened.
    static ControlReader open(const std::string& path, std::size_t paragraphBytes = kUsualParagraphBytes);

    /// Reads a text in memory, which must outlive the reader.
    static ControlReader ofText(std::string_view text, std::string_view name);

    ~ControlReader();
    ControlReader(ControlReader&&) noexcept;
    ControlReader& operator=(ControlReader&&) noexcept;

    /// Replaces `paragraph` with the next one; false at the end, when `paragraph` is empty.
    bool next(ControlParagraph& paragraph);

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream

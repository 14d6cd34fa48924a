#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace bex::remote {

/// Bytes of a file, from `first` to `last`.
struct ByteRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    /// At most 2^64 - 1; a range of all 2^64 bytes is not made.
    std::uint64_t size() const noexcept { return last - first + 1; }
};

/// What a Content-Range field says.
struct ContentRange {
    std::optional<ByteRange> range;      ///< none: "*", the answer to a range beyond the end
    std::optional<std::uint64_t> total;  ///< none: "*"
};

/// Status and header fields of a response (RFC 9112), collected line by line.
class Response {
public:
    /// Adds a line as it came, its end included. A status line begins anew, so that of several responses to one
    /// request (1xx) the last remains.
    void addLine(std::string_view line);

    /// Whether the empty line after the header fields of a final response has come.
    bool complete() const noexcept { return complete_; }

    int status() const noexcept { return status_; }
    /// The number and the server's words for it, escaped.
    std::string statusText() const;

    /// The field's value, by its name in lower case; "" where it is absent. A field that came more than once has
    /// its values joined by ", ", and so is none of those that are looked at here.
    const std::string& field(const std::string& name) const;

    std::optional<std::uint64_t> contentLength() const;
    /// None where the field is absent or malformed.
    std::optional<ContentRange> contentRange() const;
    /// The entity tag where it is a strong one, else "".
    std::string strongTag() const;

private:
    int status_ = 0;
    bool complete_ = false;
    std::string words_;
    std::map<std::string, std::string> fields_;
};

}  // namespace bex::remote

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "remote/http/Response.hpp"

namespace bex::remote {

/// What tells one version of a file from another.
class FileVersion {
public:
    /// Whether it is known; until then all is "" and nothing.
    bool known() const noexcept { return known_; }
    std::optional<std::uint64_t> size() const noexcept { return size_; }
    const std::string& strongTag() const noexcept { return strongTag_; }

    /// Notes the version of the first answer, and compares those of later ones with it. Throws StreamError
    /// (`remote-changed`) about `name`.
    void note(const Response& response, std::optional<std::uint64_t> size, const std::string& name);

private:
    bool known_ = false;
    std::string tag_;
    std::string strongTag_;
    std::string modified_;
    std::optional<std::uint64_t> size_;
};

/// Refuses statuses other than those of success, and encoded bodies. Throws StreamError.
void checkAnswer(const Response& response, const std::string& name);

/// Checks the answer to a request for the range and notes its version. Returns how many bytes its body has to
/// have: from the range's first on, fewer than asked for where the file ends. Throws StreamError.
std::uint64_t checkRangeAnswer(const Response& response, const ByteRange& asked, FileVersion& version,
                               const std::string& name);

}  // namespace bex::remote

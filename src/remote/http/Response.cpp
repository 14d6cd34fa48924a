#include "remote/http/Response.hpp"

#include <algorithm>

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::remote {

using stream::parseWhole;
using stream::trimmed;

namespace {

/// "N-M", the second not less than the first.
std::optional<ByteRange> parseRange(std::string_view text) {
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos) {
        return std::nullopt;
    }
    const auto first = parseWhole<std::uint64_t>(text.substr(0, dash));
    const auto last = parseWhole<std::uint64_t>(text.substr(dash + 1));
    if (!first || !last || *last < *first || *last - *first == UINT64_MAX) {
        return std::nullopt;
    }
    return ByteRange{*first, *last};
}

}  // namespace

void Response::addLine(std::string_view line) {
    line = trimmed(line.substr(0, line.find_first_of("\r\n")));
    if (line.substr(0, 5) == "HTTP/") {
        // A status line begins anew: interim answers (1xx) come before the final one, in the same stream of
        // lines.
        *this = Response();
        const std::string_view rest = trimmed(line.substr(std::min(line.find(' '), line.size())));
        status_ = parseWhole<int>(rest.substr(0, 3)).value_or(0);
        words_ = rest.substr(std::min<std::size_t>(3, rest.size()));
        return;
    }
    if (line.empty()) {
        // The empty line after an interim answer ends nothing.
        complete_ = status_ >= 200;
        return;
    }
    const std::size_t colon = line.find(':');
    if (complete_ || colon == std::string_view::npos) {
        return;  // Trailers after the body, and what is not a field, say nothing that is looked at.
    }
    // Names of fields have no case, and several lines of one name are a list (RFC 9110, section 5.3).
    std::string& value = fields_[stream::lowerCase(line.substr(0, colon))];
    stream::appendPart(value, ", ", trimmed(line.substr(colon + 1)));
}

std::string Response::statusText() const {
    // The words are the server's, for a message: they are cut and escaped.
    constexpr std::size_t kMostBytes = 80;
    return std::to_string(status_) + stream::escapeForDisplay(words_.substr(0, kMostBytes));
}

const std::string& Response::field(const std::string& name) const {
    static const std::string absent;
    const auto found = fields_.find(name);
    return found == fields_.end() ? absent : found->second;
}

std::optional<std::uint64_t> Response::contentLength() const {
    return parseWhole<std::uint64_t>(field("content-length"));
}

std::optional<ContentRange> Response::contentRange() const {
    std::string_view text = field("content-range");
    const std::size_t slash = text.find('/');
    if (text.substr(0, 6) != "bytes " || slash == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view range = text.substr(6, slash - 6);
    const std::string_view total = text.substr(slash + 1);
    // "*" stands for what the server does not know or does not have (RFC 9110, section 14.4).
    const ContentRange result = {parseRange(range), parseWhole<std::uint64_t>(total)};
    if ((!result.range && range != "*") || (!result.total && total != "*")) {
        return std::nullopt;
    }
    return result;
}

std::string Response::strongTag() const {
    const std::string& tag = field("etag");
    // A weak tag begins with W/ and fits files whose bytes differ: If-Range must not have one (RFC 9110, section
    // 13.1.5).
    if (tag.size() < 2 || tag.front() != '"' || tag.back() != '"') {
        return "";
    }
    return tag;
}

}  // namespace bex::remote

#include "remote/RangeAnswer.hpp"

#include <algorithm>

#include "bex/stream/Escape.hpp"
#include "remote/http/Failure.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::remote {

namespace {

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;

[[noreturn]] void failRange(const std::string& name, const std::string& reason) {
    throw failure(name, "remote-range", reason);
}

std::string textOf(const ByteRange& range) {
    return std::to_string(range.first) + "-" + std::to_string(range.last);
}

/// All of the file instead of a range: taken where that is not more than was asked for.
std::uint64_t checkWhole(const Response& response, const ByteRange& asked, FileVersion& version,
                         const std::string& name) {
    // A server may ignore Range (RFC 9110, section 14.2). What it sends is of use only where it begins at the
    // same byte and is no more than was wanted.
    const std::optional<std::uint64_t> length = response.contentLength();
    version.note(response, length, name);
    if (asked.first != 0 || !length || *length > asked.size()) {
        failRange(name, "the server does not answer range requests: download the package, or read all of it");
    }
    return *length;
}

std::uint64_t checkPart(const Response& response, const ByteRange& asked, FileVersion& version,
                        const std::string& name) {
    const std::optional<ContentRange> part = response.contentRange();
    // A multipart answer has no Content-Range here: one range was asked for, so that it would be wrong.
    if (!part || !part->range || !part->total) {
        failRange(name, "the server's Content-Range \"" +
                            stream::escapeForDisplay(response.field("content-range")) +
                            "\" is not a range with a total");
    }
    version.note(response, part->total, name);
    const std::uint64_t total = *part->total;
    // Exactly what was asked for, cut at the end of the file: other bytes would get to the wrong offset.
    const bool isAsked = total > asked.first && part->range->first == asked.first &&
                         part->range->last == std::min(asked.last, total - 1);
    const std::optional<std::uint64_t> length = response.contentLength();
    if (!isAsked || length.value_or(part->range->size()) != part->range->size()) {
        failRange(name, "asked for the bytes " + textOf(asked) + ", the server answers " + textOf(*part->range) +
                            " of " + std::to_string(total) +
                            (length ? " in " + std::to_string(*length) + " bytes" : ""));
    }
    return part->range->size();
}

}  // namespace

void FileVersion::note(const Response& response, std::optional<std::uint64_t> size, const std::string& name) {
    const std::string& tag = response.field("etag");
    const std::string& modified = response.field("last-modified");
    // Any tag shows a change, also a weak one. A server that sends neither tag nor date is known by the size
    // alone.
    if (known_ && (tag != tag_ || modified != modified_ || (size && size_ && *size != *size_))) {
        throw failure(name, "remote-changed", "the file changed on the server between two requests");
    }
    known_ = true;
    tag_ = tag;
    strongTag_ = response.strongTag();
    modified_ = modified;
    // An answer without a length leaves the size that another one gave.
    if (size) {
        size_ = size;
    }
}

void checkAnswer(const Response& response, const std::string& name) {
    if (response.status() != kOk && response.status() != kPartialContent) {
        throw failure(name, "remote-status", "the server answers " + response.statusText());
    }
    const std::string& encoding = response.field("content-encoding");
    if (!encoding.empty() && !stream::equalIgnoringCase(encoding, "identity")) {
        throw failure(name, "remote-encoding",
                      "the server sends the package in the Content-Encoding \"" +
                          stream::escapeForDisplay(encoding) + "\", which was not asked for");
    }
}

std::uint64_t checkRangeAnswer(const Response& response, const ByteRange& asked, FileVersion& version,
                               const std::string& name) {
    if (response.status() == kRangeNotSatisfiable && !version.known()) {
        // The one way to answer for an empty file.
        const std::optional<ContentRange> none = response.contentRange();
        if (none && !none->range && none->total == 0) {
            version.note(response, 0, name);
            return 0;
        }
    }
    checkAnswer(response, name);
    if (response.status() == kOk) {
        return checkWhole(response, asked, version, name);
    }
    return checkPart(response, asked, version, name);
}

}  // namespace bex::remote

#include "stream/tar/PaxRecords.hpp"

#include <algorithm>
#include <set>

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kGnuSparse = "GNU.sparse.";

/// Keys that change what other keys or bytes mean, and that not every reader knows.
constexpr std::string_view kAmbiguous[] = {"hdrcharset", "SCHILY.realsize", "SUN.holesdata"};

[[noreturn]] void fail(const Place& place, const std::string& reason) {
    place.fail(ErrorKind::damaged, "tar-pax", "extended header: " + reason);
}

/// Seconds, perhaps with a fraction, which is dropped.
std::optional<std::int64_t> parseTime(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    if (!consistsOf(fraction, isDigit)) {
        return std::nullopt;
    }
    return parseWhole<std::int64_t>(text.substr(0, point));
}

/// Cuts the first record off and gives its "KEY=VALUE".
std::string_view cutRecord(std::string_view& body, const Place& place) {
    const std::size_t blank = std::min(body.find(' '), body.size());
    const std::optional<std::uint64_t> length = parseWhole<std::uint64_t>(body.substr(0, blank));
    // guard: lengths of pax records
    if (!length || *length > body.size() || *length < blank + 2 || body[*length - 1] != '\n') {
        fail(place, "record with a wrong length");
    }
    // In range: the length is at most the body's size and at least `blank + 2`, for the blank and the newline.
    const std::string_view record = body.substr(blank + 1, *length - blank - 2);
    body.remove_prefix(*length);
    return record;
}

class Parser {
public:
    explicit Parser(const Place& place) : place_(place) {}

    void take(std::string_view record) {
        // The first "=": a value may hold others.
        const std::size_t equals = record.find('=');
        const std::string_view key = record.substr(0, equals);
        // At npos the key is the whole record: refused here, before `equals + 1` is used, which would wrap to 0.
        if (equals == std::string_view::npos || key.empty() || key.find('\0') != std::string_view::npos) {
            fail(place_, "record with a malformed key");
        }
        if (startsWith(key, kGnuSparse)) {
            records_.sparse = true;  // its keys may repeat
            return;
        }
        // After the sparse keys: only these may be repeated.
        checkKey(key);
        takeText(key, record.substr(equals + 1));
        takeNumber(key, record.substr(equals + 1));
    }

    PaxRecords result() { return std::move(records_); }

private:
    void checkKey(std::string_view key) {
        for (const std::string_view ambiguous : kAmbiguous) {
            if (key == ambiguous) {
                place_.fail(ErrorKind::unsupported, "tar-pax",
                            "extended header: readers disagree on " + quotedName(key));
            }
        }
        if (!keys_.insert(std::string(key)).second) {  // guard: a pax key twice
            fail(place_, quotedName(key) + " occurs twice");
        }
    }

    void takeText(std::string_view key, std::string_view value) {
        if (key == "path") {
            records_.path = text(key, value);
        } else if (key == "linkpath") {
            records_.link = text(key, value);
        } else if (key == "uname") {
            records_.owner = text(key, value);
        } else if (key == "gname") {
            records_.group = text(key, value);
        }
    }

    void takeNumber(std::string_view key, std::string_view value) {
        if (key == "size") {
            records_.size = size(value);
        } else if (key == "uid") {
            records_.uid = required(parseWhole<std::uint64_t>(value), key, value);
        } else if (key == "gid") {
            records_.gid = required(parseWhole<std::uint64_t>(value), key, value);
        } else if (key == "mtime") {
            records_.mtime = required(parseTime(value), key, value);
        }
    }

    /// Texts are UTF-8 by definition; readers differ in how they treat other bytes.
    std::string text(std::string_view key, std::string_view value) const {
        if (value.empty() || value.find('\0') != std::string_view::npos) {
            fail(place_, quotedName(key) + " is empty or holds a NUL");
        }
        if (!isUtf8(value)) {  // guard: texts of pax that are not UTF-8
            fail(place_, std::string(key) + " " + quotedName(value) + " is not UTF-8");
        }
        return std::string(value);
    }

    std::uint64_t size(std::string_view value) const {
        std::optional<std::uint64_t> size = parseWhole<std::uint64_t>(value);
        // Compares false for an optional without a value.
        if (size > kLargestTarSize) {
            size.reset();
        }
        return required(size, "size", value);
    }

    template <typename Number>
    Number required(std::optional<Number> number, std::string_view key, std::string_view value) const {
        if (!number) {
            fail(place_, std::string(key) + " " + quotedName(value) + " is not a valid number");
        }
        return *number;
    }

    const Place& place_;
    PaxRecords records_;
    std::set<std::string> keys_;
};

}  // namespace

PaxRecords parsePaxRecords(std::string_view body, const Place& place) {
    Parser parser(place);
    // Ends because each record is at least two bytes long.
    while (!body.empty()) {
        parser.take(cutRecord(body, place));
    }
    return parser.result();
}

}  // namespace bex::stream

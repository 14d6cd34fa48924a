#include "stream/tar/PaxRecords.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <set>
#include "stream/base/Place.hpp"

namespace bex::stream {
namespace {

constexpr std::string_view kGnuSparse = "GNU.sparse.";

/// Keys that change what other keys or bytes mean, and that not every reader knows.
constexpr std::string_view kAmbiguous[] = {"hdrcharset", "SCHILY.realsize", "SUN.holesdata"};

[[noreturn]] void fail(const Place& place, const std::string& reason) {
    place.fail(ErrorKind::damaged, "tar-pax", "extended header: " + reason);
}

std::optional<std::uint64_t> parseDecimal(std::string_view text) {
    std::uint64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && stop == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

/// Cuts the first record off and gives its "KEY=VALUE".
std::string_view cutRecord(std::string_view& body, const Place& place) {
    const std::size_t blank = std::min(body.find(' '), body.size());
    const std::optional<std::uint64_t> length = parseDecimal(body.substr(0, blank));
    // guard: lengths of pax records
    if (!length || *length > body.size() || *length < blank + 2 || body[*length - 1] != '\n') {
        fail(place, "record with a wrong length");
    }
    const std::string_view record = body.substr(blank + 1, *length - blank - 2);
    body.remove_prefix(*length);
    return record;
}

class Parser {
public:
    explicit Parser(const Place& place) : place_(place) {}

    void take(std::string_view record) {
        const std::size_t equals = record.find('=');
        if (equals == 0 || equals == std::string_view::npos) {
            fail(place_, "record without a key");
        }
        const std::string_view key = record.substr(0, equals);
        const std::string_view value = record.substr(equals + 1);
        if (key.substr(0, kGnuSparse.size()) == kGnuSparse) {
            takeSparse(key.substr(kGnuSparse.size()), value);
            return;
        }
        checkKey(key);
        if (key == "path") {
            records_.path = text(key, value);
        } else if (key == "linkpath") {
            records_.link = text(key, value);
        } else if (key == "size") {
            records_.size = size(value);
        }
    }

    PaxRecords result() {
        if (sparseName_) {
            records_.path = sparseName_;
        }
        return records_;
    }

private:
    void checkKey(std::string_view key) {
        for (const std::string_view ambiguous : kAmbiguous) {
            if (key == ambiguous) {
                place_.fail(ErrorKind::unsupported, "tar-pax",
                            "extended header: readers disagree on " + quotedName(std::string(key)));
            }
        }
        if (!keys_.insert(std::string(key)).second) {  // guard: a pax key twice
            fail(place_, quotedName(std::string(key)) + " is there twice");
        }
    }

    /// The formats 0.0 and 0.1 have their maps here, 1.0 before the contents; the decoder reads them.
    void takeSparse(std::string_view key, std::string_view value) {
        records_.sparse = true;
        if (key == "name") {
            sparseName_ = text(key, value);
        } else if (key == "major") {
            records_.mapInBody = value == "1";
        }
    }

    std::string text(std::string_view key, std::string_view value) const {
        if (value.empty() || value.find('\0') != std::string_view::npos) {
            fail(place_, quotedName(std::string(key)) + " is empty or holds a NUL");
        }
        return std::string(value);
    }

    std::uint64_t size(std::string_view value) const {
        const std::optional<std::uint64_t> size = parseDecimal(value);
        if (!size || *size > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - 512)) {
            fail(place_, "size " + quotedName(std::string(value)) + " is none");
        }
        return *size;
    }

    const Place& place_;
    PaxRecords records_;
    std::optional<std::string> sparseName_;
    std::set<std::string> keys_;
};

}  // namespace

PaxRecords parsePaxRecords(std::string_view body, const Place& place) {
    Parser parser(place);
    while (!body.empty()) {
        parser.take(cutRecord(body, place));
    }
    return parser.result();
}

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bex::repo {

/// What a Release file says of an index.
struct IndexedFile {
    std::string sha256;
    std::uint64_t size = 0;
};

inline bool operator==(const IndexedFile& a, const IndexedFile& b) {
    return a.size == b.size && a.sha256 == b.sha256;
}

/// A Release file (https://wiki.debian.org/DebianRepository/Format): fields, and the indexes by their paths below
/// the suite's directory.
struct Release {
    std::vector<std::pair<std::string, std::string>> fields;  ///< in order, without the digests
    std::map<std::string, IndexedFile> files;

    /// The value of the field, "" where there is none.
    std::string field(std::string_view name) const;

    std::string format() const;

    /// Reads a Release file, or the signed text of an InRelease file. Throws StreamError (`damaged`), also for a
    /// path that leads out of the suite's directory and for a digest that is not one; messages call it `name`.
    static Release parse(std::string_view text, const std::string& name);
};

/// The text that is signed of a cleartext signature (RFC 4880, section 7), its last newline included; "" where
/// there is no signature.
std::string signedText(std::string_view text);

/// "Sun, 22 Nov 2026 05:40:00 UTC", of seconds since 1970.
std::string formatDate(std::int64_t seconds);

/// What formatDate() wrote, read back; throws StreamError (`damaged`).
std::int64_t parseDate(const std::string& date, const std::string& name);

}  // namespace bex::repo

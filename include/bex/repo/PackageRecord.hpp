#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Export.hpp"

namespace bex::repo {

/// Digests of one file, in lower-case hexadecimal; "" for a digest that was not computed.
struct Digests {
    std::string md5;
    std::string sha1;
    std::string sha256;
    std::string sha512;
};

/// The digests that are computed. SHA-256 always is: apt needs one strong digest, and records are compared by it.
struct DigestChoice {
    bool md5 = false;
    bool sha1 = false;
    bool sha512 = false;
};

/// One package of a repository: its control paragraph, kept as the lines of its stanza so that tens of thousands
/// of records stay small, and the fields that an index adds about its file. A copyable value.
struct PackageRecord {
    std::string package;
    std::string version;
    std::string architecture;
    std::string before;    ///< the whole lines of the stanza before Filename, "Package" first
    std::string after;     ///< the whole lines after the digests
    std::string filename;  ///< relative to the root of the repository, without a ".." component
    std::uint64_t size = 0;
    Digests digests;

    /// The fields of the package's control file, in the order of the stanza.
    BEX_EXPORT stream::ControlParagraph control() const;
};

/// The record of a package with this control paragraph, without filename, size and digests.
/// Order and spelling of the fields are those of dpkg-scanpackages(1). Fields that an index
/// adds (Filename, Size and the digests) are left out, so a package cannot give them for its
/// own file. Throws StreamError (`damaged`) as checkRecord() does; messages call the package
/// `name`.
BEX_EXPORT PackageRecord recordOf(const stream::ControlParagraph& control, const std::string& name);

/// Checks the values of a record that become paths or addresses: Package, Version and Architecture must be well
/// formed, `filename` must be a relative path without a ".." component or a control character, and each digest
/// must have its length. Throws StreamError (`refused`, code "unsafe-filename"; `damaged`, code "stanza") naming
/// `name`. An empty filename and an empty SHA-256 are allowed if `complete` is false.
BEX_EXPORT void checkRecord(const PackageRecord& record, const std::string& name, bool complete = true);

/// Appends the stanza, without the empty line after it: the lines before, Filename, Size, MD5sum, SHA1, SHA256 and
/// SHA512 as far as there are such digests, and the lines after.
BEX_EXPORT void appendStanza(std::string& text, const PackageRecord& record);

/// Appends the stanzas as a Packages index, an empty line after each.
BEX_EXPORT void appendStanzas(std::string& text, const std::vector<PackageRecord>& records);

/// The order of every index: by package and version as bytes, as in dpkg-scanpackages(1), then by architecture and
/// filename.
BEX_EXPORT bool precedes(const PackageRecord& a, const PackageRecord& b) noexcept;

}  // namespace bex::repo

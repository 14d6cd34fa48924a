#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bex::repo {

/// One package of a Packages file: its text, and the values that decide where it stands. All of them lie in a text
/// that somebody else owns.
struct Stanza {
    std::string_view text;  ///< every line with its newline, without the empty line after it
    std::string_view package;
    std::string_view version;
    std::string_view architecture;
    std::string_view filename;
    std::string_view sha256;
};

/// The order of packages in an index, that of precedes(): by name, version (as bytes) and architecture.
bool isBefore(const Stanza& a, const Stanza& b);

/// Whether the two are the same package, whatever its contents.
bool isSamePackage(const Stanza& a, const Stanza& b);

/// Below 0, 0 or above 0 where the first version is the earlier one, equal, or the later one. Texts that are not
/// versions come before all versions, in the order of their bytes.
int compareVersions(std::string_view a, std::string_view b);

/// Reads one stanza; `text` stays the caller's.
Stanza readStanza(std::string_view text);

/// Reads the stanzas of a Packages file, in order, without looking into more of each than it needs. Throws
/// StreamError (`damaged`) for one that lacks Package, Version, Architecture or Filename; messages call it `name`.
std::vector<Stanza> readStanzas(std::string_view text, const std::string& name);

/// Stanzas with the texts that they lie in.
struct StanzaList {
    std::vector<std::shared_ptr<const std::string>> texts;
    std::vector<Stanza> stanzas;
};

}  // namespace bex::repo

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "output/Context.hpp"
#include "verbs/TextSpool.hpp"

namespace bex::tool {

/// An entry with a digest of its contents.
struct DigestedEntry {
    stream::Entry entry;
    std::string digest;                    ///< SHA-256 in hexadecimal; "" for an entry without contents
    std::optional<TextSpool::Place> text;  ///< its contents, where they are text and were asked for
};

/// A member of the ar archive, by what it can be compared with.
struct DigestedMember {
    std::string compression;
    std::uint64_t size = 0;
};

/// All that two packages are compared by.
struct PackageDigest {
    stream::ControlParagraph control;
    std::map<std::string, DigestedMember> members;        ///< by name, "data.tar" for "data.tar.gz"
    std::map<std::string, DigestedEntry> controlMembers;  ///< by plain path, "control" itself left out
    std::map<std::string, DigestedEntry> payload;         ///< by plain path
};

/// What of a package is read, and how.
struct DigestRequest {
    /// Which entries: a plain path of the payload, or "DEBIAN/..." for a control member.
    std::function<bool(const std::string&)> select;
    TextSpool* spool = nullptr;            ///< takes the contents of text files; null: they are not kept
    const PackageDigest* other = nullptr;  ///< texts that are the same here are not kept
};

/// Reads all of the package once, from front to back. Throws as stream::PackageReader.
PackageDigest digestOf(const std::string& package, const DigestRequest& request, Context& context);

}  // namespace bex::tool

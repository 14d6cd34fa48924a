#pragma once

#include <map>
#include <string>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// An entry with a digest of its contents.
struct DigestedEntry {
    stream::Entry entry;
    std::string digest;  ///< SHA-256 in hexadecimal; "" for what has no contents
};

/// All that two packages are compared by, without their contents.
struct PackageDigest {
    stream::ControlParagraph control;
    std::map<std::string, DigestedEntry> controlMembers;  ///< by plain path, "control" itself left out
    std::map<std::string, DigestedEntry> payload;         ///< by plain path
};

/// Reads all of the package. Throws as stream::PackageReader.
PackageDigest digestOf(const std::string& package, Context& context);

}  // namespace bex::tool

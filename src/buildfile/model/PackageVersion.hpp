#pragma once

#include <string>

namespace bex::buildfile {

/// What a build file says of the version.
struct VersionParts {
    std::string version;
    std::string epoch;
    std::string prerelease;  ///< "" for that of the version
    std::string metadata;    ///< "" for that of the version
    std::string release;
    bool isSemantic = true;  ///< whether the version is parsed as one of semantic versioning
};

/// The version in Debian's form: [EPOCH:]VERSION[~PRERELEASE][+METADATA][-RELEASE]. A semantic version loses a "v"
/// before it, and keeps as many numbers as it has: "v1.10-rc1" becomes "1.10~rc1". Another one stays as it is.
std::string debianVersion(const VersionParts& parts);

}  // namespace bex::buildfile

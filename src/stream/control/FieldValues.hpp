#pragma once

#include <string>
#include <string_view>

namespace bex::stream {

// Each returns why a value, which is not empty, is not one of its field (deb-control(5), Debian Policy 5.6), as
// the rest of a sentence about it; empty when it is sound.

std::string packageNameFault(std::string_view value);

/// As strict as dpkg is with control files. Version.cpp has it, beside Version::parse().
std::string versionFault(std::string_view value);

/// Of a binary package: "all" or one architecture, no pattern such as "linux-any".
std::string architectureFault(std::string_view value);

/// "Name <address>", for one person or group.
std::string maintainerFault(std::string_view value);

/// The first line, the synopsis, must not be empty.
std::string descriptionFault(std::string_view value);

/// A package name, and a version in parentheses when it differs.
std::string sourceFault(std::string_view value);

/// A word of letters, digits, ".", "+", "_" and "-", or two with "/" between: an archive area and a section.
std::string sectionFault(std::string_view value);

/// One of the words of Debian Policy 2.5, in lower case.
std::string priorityFault(std::string_view value);

/// Kibibytes, in digits.
std::string sizeFault(std::string_view value);

// These two ignore case, as dpkg does.
std::string booleanFault(std::string_view value);
std::string multiArchFault(std::string_view value);

}  // namespace bex::stream

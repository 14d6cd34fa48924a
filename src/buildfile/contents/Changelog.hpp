#pragma once

#include <string>

namespace bex::buildfile {

/// The changelog in Debian's form (deb-changelog(5)) from one in chglog's: a list of releases, each with semver,
/// date, packager, changes with a note each, and, under deb, urgency and distributions. `file` names it in
/// messages. Throws StreamError (`invalidInput`).
std::string debianChangelog(const std::string& text, const std::string& file, const std::string& package);

/// The name under usr/share/doc/PACKAGE: a native package, whose version has no revision, has a changelog of its
/// own, another one Debian's.
std::string changelogName(const std::string& version);

/// The bytes as gzip, without a time, at the best level.
std::string gzipped(const std::string& bytes);

}  // namespace bex::buildfile

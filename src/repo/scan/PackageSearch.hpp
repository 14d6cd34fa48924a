#pragma once

#include <string>
#include <vector>

#include "bex/repo/Scan.hpp"

namespace bex::repo {

/// The name below `root` as a path on this disk.
std::string diskPath(const std::string& root, const std::string& name);

/// The names of the packages that the options' inputs mean, sorted, each once. A directory gives what ends in one
/// of the suffixes, whatever it is. A directory that has been searched under another name is skipped; those that
/// no symlink leads to come first, so that the names do not depend on links. Throws StreamError (`inputOutput`)
/// for an input or a directory that cannot be read.
std::vector<std::string> findPackages(const ScanOptions& options);

}  // namespace bex::repo

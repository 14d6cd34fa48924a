#pragma once

#include <string>
#include <vector>

#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The paths of everything in the package's payload but directories, in its order; those with a newline are left
/// out, since no index could list them. Throws StreamError.
std::vector<std::string> pathsOf(const std::string& package);

/// The text of a Contents index (https://wiki.debian.org/DebianRepository/Format#A.22Contents.22_indices): a line
/// for each path of the packages, in order, with the packages that have it. Each package in the pool is read, on
/// `threads` threads. Throws StreamError.
std::string contentsOf(const Layout& layout, const std::vector<Stanza>& packages, unsigned threads);

}  // namespace bex::repo

#pragma once

#include <string>
#include <vector>

#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The text of a Contents index (https://wiki.debian.org/DebianRepository/Format#A.22Contents.22_indices): a line
/// for each path of the packages, in order, with the packages that have it. Each package in the pool is read, on
/// `threads` threads. Throws StreamError.
std::string contentsOf(const Layout& layout, const std::vector<Stanza>& packages, unsigned threads);

}  // namespace bex::repo

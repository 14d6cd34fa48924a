#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bex/stream/Sink.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The paths of everything in the package's payload but directories, in its order; those with a newline are left
/// out, since no index could list them. Throws StreamError.
std::vector<std::string> pathsOf(const std::string& package);

/// The Contents index that the new one takes the place of, and the names of the packages that came or went since.
struct ContentsBefore {
    std::string text;
    std::set<std::string, std::less<>> changed;
};

/// Writes a Contents index (https://wiki.debian.org/DebianRepository/Format#A.22Contents.22_indices): a line for
/// each path of the packages, in order, with the packages that have it. Without `before`, each package in the pool
/// is read, on `threads` threads; with it, only those of the names that changed. Throws StreamError.
void writeContents(const Layout& layout, const std::vector<Stanza>& packages,
                   const std::optional<ContentsBefore>& before, unsigned threads, stream::Sink& out);

}  // namespace bex::repo

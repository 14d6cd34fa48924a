#pragma once

#include <string>
#include <vector>

#include "stream/system/System.hpp"

namespace bex::repo {

/// The names in a directory, but for "." and "..", sorted; none where there is no such directory. Throws
/// StreamError
/// (`inputOutput`).
std::vector<std::string> namesIn(const std::string& path, stream::System& system);

/// Removes from the directory what a process left there that was killed while it wrote a file: files with the name
/// of a temporary one. For whoever holds the repository's lock, so that nobody writes there now.
void removeTemporaries(const std::string& path, stream::System& system);

}  // namespace bex::repo

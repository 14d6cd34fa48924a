#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace bex::test {

/// How many descriptors this process has open.
inline std::size_t openDescriptors() {
    const std::filesystem::directory_iterator own("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(own), end(own))) - 1;  // less the iterator's
}

/// What stands below the folder, as sorted relative paths.
inline std::vector<std::string> namesBelow(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& found : std::filesystem::recursive_directory_iterator(folder)) {
        names.push_back(found.path().lexically_relative(folder).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace bex::test

#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "TemporaryDirectory.hpp"

namespace bex::test {

/// Both outputs of a shell command, run in the C locale and UTC; throws when it ends with anything but 0.
inline std::string outputOf(const std::string& command) {
    const TemporaryDirectory folder;
    const std::string log = folder / "log";
    if (std::system(("{ export LC_ALL=C TZ=UTC; " + command + "; } >" + log + " 2>&1").c_str()) != 0) {
        throw std::runtime_error(command + " failed: " + folder.read("log"));
    }
    return folder.read("log");
}

}  // namespace bex::test

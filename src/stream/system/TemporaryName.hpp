#pragma once

#include <functional>
#include <string>

namespace bex::stream {

/// Calls `make` with hidden names, ".bex-" and random digits, until it makes something there: it must fail with
/// EEXIST where the name is taken. Gives the name; "" and errno when `make` failed with another error, or every
/// name of many was taken. Not from the target's name: that may be as long as a name can be.
std::string makeTemporary(const std::function<bool(const char* name)>& make);

}  // namespace bex::stream

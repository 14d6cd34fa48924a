#pragma once

#include <memory>

#include "stream/base/Owners.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Closes through System, which a test may replace.
class CloseBySystem {
public:
    CloseBySystem() = default;
    /// Implicit, so that an owner is made of what was opened and the System that opened it.
    CloseBySystem(System& system) noexcept : system_(&system) {}

    void operator()(int number) const { system_->close(number); }
    void operator()(DIR* directory) const { system_->closedir(directory); }

private:
    System* system_ = nullptr;  ///< null only where nothing is owned
};

using Descriptor = OwnedDescriptor<CloseBySystem>;
/// What System::fdopendir() returns.
using DirectoryNames = std::unique_ptr<DIR, CloseBySystem>;

}  // namespace bex::stream

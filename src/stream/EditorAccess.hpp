#pragma once

#include <string>

#include "bex/stream/PackageEditor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// For tests: what callers cannot reach.
struct EditorAccess {
    /// An editor with the system's calls replaced; `system` must outlive it.
    static PackageEditor withSystem(const std::string& path, const EditOptions& options, System& system);
};

}  // namespace bex::stream

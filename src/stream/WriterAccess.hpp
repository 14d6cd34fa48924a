#pragma once

#include "bex/stream/PackageWriter.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// For tests: what callers cannot reach.
struct WriterAccess {
    /// A writer with the system's calls replaced; `system` must outlive it.
    static PackageWriter withSystem(System& system);
};

}  // namespace bex::stream

#pragma once

#include <string>

#include "bex/stream/ExtractOptions.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// What every part of one extraction needs.
struct ExtractContext {
    ExtractContext(const std::string& package, const ExtractOptions& options, System& realSystem)
        : system(realSystem),
          place(package),
          existing(options.existing),
          sameOwner(options.sameOwner),
          keepSetId(options.keepSetId) {}

    System& system;
    Place place;  ///< of the entry at hand
    const Existing existing;
    const bool sameOwner;
    const bool keepSetId;
};

}  // namespace bex::stream

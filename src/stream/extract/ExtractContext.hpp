#pragma once

#include <string>

#include "bex/stream/ExtractOptions.hpp"
#include "stream/extract/EntryErrors.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// What every part of one extraction needs.
struct ExtractContext {
    ExtractContext(const std::string& package, const ExtractOptions& options, System& realSystem)
        : system(realSystem),
          errors(package),
          keepExisting(options.keepExisting),
          sameOwner(options.sameOwner),
          keepSetId(options.keepSetId) {}

    System& system;
    EntryErrors errors;
    const bool keepExisting;
    const bool sameOwner;
    const bool keepSetId;
};

}  // namespace bex::stream

#pragma once

#include <string>

#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// Makes the symlink in the open directory, as PendingFile does. Returns false where something that exists is
/// kept. Throws StreamError.
bool makeSymlink(const ExtractContext& context, int directory, const char* name, const std::string& target,
                 const RestoredAttributes& attributes);

}  // namespace bex::stream

#pragma once

#include <sys/types.h>

#include <cstdint>

#include "bex/stream/Entry.hpp"
#include "stream/extract/ExtractContext.hpp"

namespace bex::stream {

/// What an entry's file gets besides its contents, with the options already applied.
struct RestoredAttributes {
    static constexpr uid_t kKeepOwner = static_cast<uid_t>(-1);
    static constexpr gid_t kKeepGroup = static_cast<gid_t>(-1);

    mode_t mode = 0;
    uid_t uid = kKeepOwner;
    gid_t gid = kKeepGroup;
    std::int64_t mtime = 0;  ///< seconds; the file system takes the nearest that it can hold
};

/// Without set-id bits unless they are kept, without owners unless they are asked for. Throws StreamError
/// (`refused`) for an owner that the system has no number for.
RestoredAttributes attributesOf(const Entry& entry, const ExtractContext& context);

/// Owner first, because a change of it clears set-id bits; the time last. Throws StreamError.
void restore(const RestoredAttributes& attributes, int descriptor, const ExtractContext& context);

/// The same for a symlink, which has no mode.
void restoreLink(const RestoredAttributes& attributes, int directory, const char* name,
                 const ExtractContext& context);

}  // namespace bex::stream

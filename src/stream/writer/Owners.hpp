#pragma once

#include <sys/types.h>

#include <string>

namespace bex::stream {

/// The system's name for a user's number; "" when it has none. May read the user database.
std::string userName(uid_t uid);

/// The same for a group.
std::string groupName(gid_t gid);

}  // namespace bex::stream

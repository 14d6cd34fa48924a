#include "stream/writer/Owners.hpp"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace bex::stream {

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 24;  // a group lists its members

/// The name that a getpw*_r() or getgr*_r() function finds. Meant: a database that can't be read counts as one
/// that has no name, since the number, which is stored beside it, is what counts then.
template <typename Record, typename Number>
std::string nameBy(int (*find)(Number, Record*, char*, std::size_t, Record**), Number number,
                   char* Record::*name) {
    // getpwuid_r(3): ERANGE asks for a larger buffer. Bounded, so that a broken database cannot take all memory.
    std::vector<char> buffer(4096);
    for (;;) {
        Record record{};
        Record* found = nullptr;
        const int failure = find(number, &record, buffer.data(), buffer.size(), &found);
        if (failure == ERANGE && buffer.size() < kMostBytes) {
            buffer.resize(4 * buffer.size());
        } else if (failure != 0 || found == nullptr) {
            return "";
        } else {
            return found->*name;
        }
    }
}

}  // namespace

std::string userName(uid_t uid) {
    return nameBy(getpwuid_r, uid, &passwd::pw_name);
}

std::string groupName(gid_t gid) {
    return nameBy(getgrgid_r, gid, &group::gr_name);
}

}  // namespace bex::stream

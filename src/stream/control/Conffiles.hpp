#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "stream/base/Place.hpp"
#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// One conffile of the control member "conffiles" (deb-conffiles(5)), as a view of its text.
struct ConffileLine {
    std::string_view path;     ///< absolute, unchanged
    bool toBeRemoved = false;  ///< "remove-on-upgrade"
};

/// What the text of "conffiles" says, and the lines that say nothing. dpkg is stricter than its manual page: one
/// space separates the flag, a line has at most 996 bytes, the last one needs its newline.
struct ConffileList {
    std::vector<ConffileLine> lines;
    std::vector<Oddity> oddities;  ///< `conffile-path`, `conffile-newline`; as a warning `conffile-blank`
};

ConffileList readConffiles(std::string_view text);

/// Compares the conffiles with the payload.
class Conffiles {
public:
    /// Reports malformed lines, and paths that are listed twice.
    Conffiles(std::string_view text, const Place& place);

    /// Call for each entry of the payload; `path` is its path in plainPath() form.
    void take(const Entry& entry, const std::string& path);
    /// Reports conffiles that are missing in the payload, or are in it although they are to be removed. Call once,
    /// last.
    void finish() const;

    bool contains(const std::string& path) const { return listed_.count(path) != 0; }

private:
    struct Listed {
        bool toBeRemoved = false;
        bool seen = false;
    };

    void report(const char* code, const std::string& reason) const;

    Place place_;
    std::map<std::string, Listed> listed_;
};

}  // namespace bex::stream

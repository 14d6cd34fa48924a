#pragma once

#include <map>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// The control member "conffiles" (deb-conffiles(5)) held against the payload.
class Conffiles {
public:
    /// Reports lines that name no absolute path, and paths that are there twice.
    Conffiles(std::string_view text, const Place& place);

    /// Tells of an entry of the payload; `path` is its path in plainPath() form.
    void take(const Entry& entry, const std::string& path);
    /// Reports the conffiles that the payload has not, or has although they are to be removed. Call once, last.
    void finish() const;

    bool contains(const std::string& path) const { return listed_.count(path) != 0; }

private:
    struct Listed {
        bool toBeRemoved = false;  ///< "remove-on-upgrade"
        bool seen = false;
    };

    void takeLine(std::string_view line);
    void report(const char* code, const std::string& reason) const;

    Place place_;
    std::map<std::string, Listed> listed_;
};

}  // namespace bex::stream

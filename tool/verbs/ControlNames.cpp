#include "verbs/ControlNames.hpp"

#include <algorithm>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Nearest.hpp"

namespace bex::tool {

namespace {

/// dpkg(1), deb-control(5) and the manual pages beside them; templates and config are debconf's.
const std::vector<std::string> kKnownMembers = {"conffiles", "config",    "control", "isinstallable", "md5sums",
                                                "postinst",  "postrm",    "preinst", "prerm",         "shlibs",
                                                "symbols",   "templates", "triggers"};

}  // namespace

bool isLeftover(const std::string& name) {
    return name.front() == '.' || name.back() == '~';
}

void noteUnknownMember(const std::string& name, Console& console) {
    if (std::find(kKnownMembers.begin(), kKnownMembers.end(), name) != kKnownMembers.end()) {
        return;
    }
    std::string text = "control member " + stream::escapeForDisplay(name) + ": dpkg does not know it";
    if (const std::string meant = stream::nearest(name, kKnownMembers); !meant.empty()) {
        text += "; did you mean " + meant + "?";
    }
    console.note(text);
}

}  // namespace bex::tool

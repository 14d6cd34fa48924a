#pragma once

#include <map>
#include <string>
#include <vector>

#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// What the maintainer scripts have to do beside what the build file's own do.
struct SystemSteps {
    std::vector<std::string> units;      ///< names of the system's units
    std::vector<std::string> userUnits;  ///< of users' units
    bool enable = true;
    bool start = true;
    bool restartOnUpgrade = true;
    std::string sysusers;           ///< the text of the sysusers.d(5) file; "" for none
    std::string sysusersName;       ///< its name in usr/lib/sysusers.d
    std::string tmpfilesName;       ///< of the file in usr/lib/tmpfiles.d; "" for none
    bool usersAtUnpacking = false;  ///< the package holds entries of users that must exist when it is unpacked
};

/// The control members that are maintainer scripts, by name. `own` holds the texts of the build file's own
/// scripts, whose places `description` has. Steps for systemd, sysusers and tmpfiles are joined with an own script
/// in a fixed order: users, temporary files, enabling, the own script, starting; on removal stopping, the own
/// script, forgetting. Every step may be repeated, and is left out where its program is missing. Throws
/// StreamError (`invalidInput`) for an own script that such steps cannot be joined with.
std::map<std::string, std::string> maintainerScripts(const SystemSteps& steps,
                                                     const std::map<std::string, std::string>& own,
                                                     const Description& description);

}  // namespace bex::buildfile

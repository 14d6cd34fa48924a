#include "buildfile/scripts/MaintainerScripts.hpp"

#include <cstddef>

#include "buildfile/scripts/ShellScript.hpp"

namespace bex::buildfile {

namespace {

// dpkg sets DPKG_ROOT where scripts run outside of the system that they are for. What runs there is not asked
// then.
// Debian Policy 6.5: postinst is called with configure, or with one of the others when dpkg goes back to the
// version that was there. In each case the package is to be as after its installation.
constexpr const char* kConfigured =
    "if [ \"$1\" = configure ] || [ \"$1\" = abort-upgrade ] || [ \"$1\" = abort-deconfigure ] ||\n"
    "    [ \"$1\" = abort-remove ]; then\n";
// sd_booted(3): the directory exists where systemd is the running init.
constexpr const char* kRunning = "[ -z \"${DPKG_ROOT:-}\" ] && [ -d /run/systemd/system ]";

// For programs that work on another root.
constexpr const char* kRootOption = "${DPKG_ROOT:+--root=\"$DPKG_ROOT\"} ";

/// The condition that a program is installed.
std::string has(const std::string& program) {
    return "command -v " + program + " >/dev/null";
}

/// A step of postinst, which runs the body if the condition holds.
std::string configuredStep(const std::string& comment, const std::string& condition, const std::string& body) {
    return "\n# " + comment + "\n" + kConfigured + "    if " + condition + "; then\n" + body + "    fi\nfi\n";
}

/// A command for each word, indented; "NAME" in it stands for the word.
std::string forEach(const std::vector<std::string>& names, const std::string& command) {
    std::string text;
    for (const std::string& name : names) {
        std::string line = command;
        for (std::size_t at = line.find("NAME"); at != std::string::npos; at = line.find("NAME", at)) {
            const std::string word = shellWord(name);
            line.replace(at, 4, word);
            // On after the word: a unit's name may hold "NAME" itself.
            at += word.size();
        }
        text += line;
    }
    return text;
}

/// For preinst: the file in usr/lib/sysusers.d is not unpacked yet, so its text comes through standard input. The
/// quoted end mark keeps the shell from expanding anything in it. Both calls of preinst before unpacking count.
std::string usersBeforeUnpacking(const SystemSteps& steps) {
    return "\n# Users that own what is unpacked next.\n"
           "if [ \"$1\" = install ] || [ \"$1\" = upgrade ]; then\n"
           "    if command -v systemd-sysusers >/dev/null; then\n"
           "        systemd-sysusers ${DPKG_ROOT:+--root=\"$DPKG_ROOT\"} - <<'END_OF_SYSUSERS'\n" +
           steps.sysusers +
           "END_OF_SYSUSERS\n"
           "    fi\n"
           "fi\n";
}

/// For postinst, also where preinst has done it: sysusers makes only what is missing, and the file is the one that
/// the administrator may override in /etc/sysusers.d.
std::string users(const SystemSteps& steps) {
    return configuredStep(
        "Users that the package needs.", has("systemd-sysusers"),
        std::string("        systemd-sysusers ") + kRootOption + shellWord(steps.sysusersName) + "\n");
}

/// For postinst, after the users, which may own what is made. A failure does not fail the installation: the next
/// boot tries again.
std::string temporaryFiles(const SystemSteps& steps) {
    return configuredStep("Directories and files that are made at boot, too.", has("systemd-tmpfiles"),
                          std::string("        systemd-tmpfiles ") + kRootOption + "--create " +
                              shellWord(steps.tmpfilesName) + " || :\n");
}

/// An administrator's choice to disable a unit survives: the helper remembers whether the unit was enabled.
std::string enabling(const std::vector<std::string>& units, const char* user, bool enable) {
    const std::string helper = std::string("deb-systemd-helper ") + user;
    // Undoes only masks that the helper itself has set; an administrator's stays.
    std::string body = forEach(units, "        " + helper + "unmask NAME >/dev/null || :\n");
    if (enable) {
        body += forEach(units, "        if " + helper + "--quiet was-enabled NAME; then\n            " + helper +
                                   "enable NAME >/dev/null || :\n        else\n            " + helper +
                                   "update-state NAME >/dev/null || :\n        fi\n");
    } else {
        body += forEach(units, "        " + helper + "update-state NAME >/dev/null || :\n");
    }
    return configuredStep("Units: enabled as the administrator left them, or else as the package says.",
                          has("deb-systemd-helper"), body);
}

/// On a new version: restarts what runs, and, where the package starts its units, what was stopped, too.
std::string restarting(const SystemSteps& steps) {
    if (!steps.restartOnUpgrade) {
        return "            :\n";
    }
    if (steps.start) {
        return "            deb-systemd-invoke restart " + shellWords(steps.units) + " >/dev/null || :\n";
    }
    return forEach(steps.units,
                   "            if systemctl --quiet is-active NAME; then\n"
                   "                deb-systemd-invoke restart NAME >/dev/null || :\n"
                   "            fi\n");
}

/// ":" is a command that does nothing: a shell needs one in each branch.
std::string firstStart(const SystemSteps& steps) {
    if (!steps.start) {
        return "            :\n";
    }
    return "            deb-systemd-invoke start " + shellWords(steps.units) + " >/dev/null || :\n";
}

/// For postinst, after the own script, which may finish what the units need. "$2" is the version that was
/// configured before: empty on a first installation.
std::string starting(const SystemSteps& steps) {
    return configuredStep("Units: read anew and started, where systemd runs.", kRunning,
                          "        systemctl --system daemon-reload >/dev/null || :\n"
                          "        if ! " +
                              has("deb-systemd-invoke") + "; then\n            :\n" +
                              "        elif [ -n \"$2\" ]; then\n" + restarting(steps) + "        else\n" +
                              firstStart(steps) + "        fi\n");
}

/// For prerm, before the own script. Not on upgrades: postinst restarts what runs, so that the pause is short.
std::string stopping(const SystemSteps& steps) {
    return std::string("\n# Units: stopped before their files go.\n") + "if [ \"$1\" = remove ] && " + kRunning +
           " &&\n    command -v deb-systemd-invoke >/dev/null; then\n    deb-systemd-invoke stop " +
           shellWords(steps.units) + " >/dev/null || :\nfi\n";
}

/// For postrm, when the unit's files are gone.
std::string reloading() {
    return std::string("\n# Units: forgotten by the running systemd.\n") + "if [ \"$1\" = remove ] && " +
           kRunning + "; then\n    systemctl --system daemon-reload >/dev/null || :\nfi\n";
}

/// For postrm at purge: until then a package that comes back finds its units as the administrator left them.
std::string forgetting(const std::vector<std::string>& units, const char* user) {
    return std::string("\n# Units: the helper's notes of them go with the configuration.\n") +
           "if [ \"$1\" = purge ] && command -v deb-systemd-helper >/dev/null; then\n    deb-systemd-helper " +
           user + "purge " + shellWords(units) + " >/dev/null || :\nfi\n";
}

/// Collects the scripts that have steps, each with the own script of that name in it.
class Joiner {
public:
    Joiner(const std::map<std::string, std::string>& own, const Description& description)
        : own_(own), description_(description) {}

    ShellScript& script(const std::string& member) {
        // References into the map stay valid, so that callers may add steps to several scripts by turns.
        const auto [found, added] = scripts_.try_emplace(member);
        const auto given = own_.find(member);
        // Checked only here: an own script without steps may be written in any language.
        if (added && given != own_.end()) {
            requireShell(member, given->second);
            found->second = ShellScript(given->second);
        }
        return found->second;
    }

    const std::map<std::string, ShellScript>& scripts() const noexcept { return scripts_; }

private:
    void requireShell(const std::string& member, const std::string& text) const {
        if (!ShellScript::isShellScript(text)) {
            const NamedPath& place = description_.scripts.at(member);
            fail(description_.file, place.at,
                 quotedText(place.path) +
                     ": only a script of sh or bash can be joined with the steps for systemd, "
                     "sysusers and tmpfiles");
        }
    }

    // The caller's, for the length of one call.
    const std::map<std::string, std::string>& own_;
    const Description& description_;
    std::map<std::string, ShellScript> scripts_;
};

/// The order of the calls is the order of the steps within each script, as the header has it.
void addSteps(const SystemSteps& steps, Joiner& joiner) {
    constexpr const char* kUser = "--user ";
    if (!steps.sysusersName.empty()) {
        if (steps.usersAtUnpacking) {
            joiner.script("preinst").addBefore(usersBeforeUnpacking(steps));
        }
        joiner.script("postinst").addBefore(users(steps));
    }
    if (!steps.tmpfilesName.empty()) {
        joiner.script("postinst").addBefore(temporaryFiles(steps));
    }
    if (!steps.units.empty()) {
        joiner.script("postinst").addBefore(enabling(steps.units, "", steps.enable));
        joiner.script("postinst").addAfter(starting(steps));
        joiner.script("prerm").addBefore(stopping(steps));
        joiner.script("postrm").addAfter(reloading());
        joiner.script("postrm").addAfter(forgetting(steps.units, ""));
    }
    if (!steps.userUnits.empty()) {
        joiner.script("postinst").addBefore(enabling(steps.userUnits, kUser, steps.enable));
        joiner.script("postrm").addAfter(forgetting(steps.userUnits, kUser));
    }
}

}  // namespace

std::map<std::string, std::string> maintainerScripts(const SystemSteps& steps,
                                                     const std::map<std::string, std::string>& own,
                                                     const Description& description) {
    Joiner joiner(own, description);
    addSteps(steps, joiner);
    // Own scripts without steps stay as they are, to the byte.
    std::map<std::string, std::string> members = own;
    for (const auto& [member, script] : joiner.scripts()) {
        members[member] = script.text();
    }
    return members;
}

}  // namespace bex::buildfile

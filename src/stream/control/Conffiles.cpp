#include "stream/control/Conffiles.hpp"

#include <cstddef>

#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kRemoval = "remove-on-upgrade ";

/// dpkg reads lines into a buffer of 1000 bytes, which also holds its own marks.
constexpr std::size_t kLongestLine = 996;

/// dpkg looks the path up as it is, and no regular file has such a name.
bool meansDirectory(std::string_view path) {
    return endsWith(path, "/") || endsWith(path, "/.");
}

std::string fault(std::string_view line, const ConffileLine& conffile) {
    // The whole line, blanks included, as the limit is one of dpkg's buffer.
    if (line.size() > kLongestLine) {
        return "is longer than " + std::to_string(kLongestLine) + " bytes";
    }
    // dpkg reads a C string, and would look for a shorter path.
    if (line.find('\0') != std::string_view::npos) {
        return "holds a NUL";
    }
    if (conffile.path.empty() || conffile.path.front() != '/') {
        return "is not an absolute path";
    }
    return faultUnless(conffile.toBeRemoved || !meansDirectory(conffile.path),
                       "ends like the path of a directory");
}

void readLine(std::string_view line, ConffileList& list) {
    // The limit is one of the whole line: dpkg cuts its end off only after reading it.
    const std::string_view text = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    if (text.empty()) {
        // Meant: dpkg skips such lines although its manual page forbids them.
        list.oddities.push_back({"conffile-blank", Severity::warning, "a line is empty"});
        return;
    }
    const bool toBeRemoved = startsWith(text, kRemoval);
    ConffileLine conffile{text, toBeRemoved};
    if (toBeRemoved) {
        conffile.path.remove_prefix(kRemoval.size());
    }
    // `line`, not `text`: the checks of length and NUL need all of it.
    if (const std::string reason = fault(line, conffile); !reason.empty()) {
        list.oddities.push_back({"conffile-path", Severity::error, quoted(text) + ' ' + reason});
    } else {
        list.lines.push_back(conffile);
    }
}

}  // namespace

ConffileList readConffiles(std::string_view text) {
    ConffileList list;
    forEachLine(text, [&list](std::string_view line) { readLine(line, list); });
    checkLastLine(text, "conffile-newline", list.oddities);
    return list;
}

Conffiles::Conffiles(std::string_view text, const Place& place) : place_(place.at("conffiles")) {
    const ConffileList list = readConffiles(text);
    note(list.oddities, place_);
    // Names of one file may differ in their text, as "/a" and "//a" do; the payload knows them by the plain path.
    for (const ConffileLine& line : list.lines) {
        // The listed paths own their text: `list` refers to the caller's.
        const auto [listed, added] = listed_.try_emplace(plainPath(line.path), Listed{line.toBeRemoved, false});
        if (!added) {
            place_.note("conffile-doubled", quoted(line.path) + " is listed twice");
            // Removal wins, so that the order of the two lines makes no difference.
            listed->second.toBeRemoved = listed->second.toBeRemoved || line.toBeRemoved;
        }
    }
}

// Logarithmic in the number of conffiles: called for every entry of the payload.
void Conffiles::take(const Entry& entry, const std::string& path) {
    const auto found = listed_.find(path);
    if (found == listed_.end()) {
        return;
    }
    found->second.seen = true;
    // A hard link leads to a regular file of the package, which EntryPolicy has checked.
    if (entry.type != EntryType::file && entry.type != EntryType::hardlink) {
        report("conffile-type", quotedName('/' + path) + " is not a regular file");
    }
}

void Conffiles::finish() const {
    // In the order of paths, whatever the order of lines: the output does not depend on it.
    for (const auto& [path, listed] : listed_) {
        if (listed.seen && listed.toBeRemoved) {
            report("conffile-missing", quotedName('/' + path) + " is to be removed, but is in the payload");
        } else if (!listed.seen && !listed.toBeRemoved) {
            report("conffile-missing", quotedName('/' + path) + " is not in the payload");
        }
    }
}

void Conffiles::report(const char* code, const std::string& reason) const {
    place_.note(code, reason, Severity::error);
}

}  // namespace bex::stream

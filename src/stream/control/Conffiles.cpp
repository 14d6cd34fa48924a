#include "stream/control/Conffiles.hpp"

#include <algorithm>
#include "stream/base/Place.hpp"

namespace bex::stream {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kRemoved = "remove-on-upgrade";

}  // namespace

Conffiles::Conffiles(std::string_view text, const Place& place) : place_(place) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        takeLine(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void Conffiles::takeLine(std::string_view line) {
    line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    const std::string whole(line);
    const bool toBeRemoved = line.substr(0, kRemoved.size()) == kRemoved;
    if (toBeRemoved) {
        line.remove_prefix(kRemoved.size());
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    }
    if (line.empty() || line.front() != '/') {
        report("conffile-path", quotedName(whole) + " is no absolute path");
    } else if (!listed_.try_emplace(plainPath(line), Listed{toBeRemoved, false}).second) {
        report("conffile-doubled", quotedName(whole) + " is there twice");
    }
}

void Conffiles::take(const Entry& entry, const std::string& path) {
    const auto found = listed_.find(path);
    if (found == listed_.end()) {
        return;
    }
    found->second.seen = true;
    if (entry.type != EntryType::file && entry.type != EntryType::hardlink) {
        report("conffile-type", quotedName('/' + path) + " is no regular file");
    }
}

void Conffiles::finish() const {
    for (const auto& [path, listed] : listed_) {
        if (listed.seen == listed.toBeRemoved) {
            report("conffile-missing",
                   quotedName('/' + path) +
                       (listed.seen ? " is to be removed, but in the payload" : " is not in the payload"));
        }
    }
}

void Conffiles::report(const char* code, const std::string& reason) const {
    place_.at("conffiles").refuse(ErrorKind::damaged, code, reason);
}

}  // namespace bex::stream

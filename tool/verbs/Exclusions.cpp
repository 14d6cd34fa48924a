#include "verbs/Exclusions.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

Exclusions::Exclusions(const std::vector<std::string>& patterns) {
    for (const std::string& pattern : patterns) {
        rules_.push_back({stream::Pattern(pattern)});
    }
}

Exclusions::Filter Exclusions::filter(const std::string& prefix, Filter other) {
    if (rules_.empty()) {
        return other;
    }
    return [this, prefix, other = std::move(other)](const stream::Entry& entry) {
        return !excludes(stream::plainPath(prefix + "/" + entry.path)) && (!other || other(entry));
    };
}

bool Exclusions::excludes(const std::string& path) {
    bool excluded = false;
    for (Rule& rule : rules_) {
        if (rule.pattern.matches(path)) {
            rule.used = true;
            excluded = true;
        }
    }
    return excluded;
}

void Exclusions::noteUnused(Console& console) const {
    for (const Rule& rule : rules_) {
        if (!rule.used) {
            console.note("--exclude " + stream::escapeForDisplay(rule.pattern.text()) + ": nothing matches");
        }
    }
}

}  // namespace bex::tool

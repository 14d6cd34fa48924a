#include "verbs/Patterns.hpp"

#include <fnmatch.h>

#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "verbs/Input.hpp"

namespace bex::tool {

namespace {

/// A name that holds the pattern's own characters, such as "a[1]", is chosen by itself, too.
bool fits(const std::string& pattern, const std::string& path) {
    return pattern == path || fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

/// Whether the pattern fits the path or a directory above it.
bool matches(const std::string& pattern, const std::string& path) {
    if (fits(pattern, path)) {
        return true;
    }
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (fits(pattern, path.substr(0, slash))) {
            return true;
        }
    }
    return false;
}

}  // namespace

Patterns::Patterns(std::vector<std::string> patterns) : patterns_(std::move(patterns)), used_(patterns_.size()) {
    for (auto& pattern : patterns_) {
        pattern.erase(0, pattern.find_first_not_of('/'));
        pattern = stream::plainPath(pattern);
    }
}

bool Patterns::choose(const stream::Entry& entry) {
    const std::string path = stream::plainPath(entry.path);
    bool chosen = patterns_.empty();
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
        if (patterns_[i].empty() || matches(patterns_[i], path)) {
            used_[i] = true;
            chosen = true;
        }
    }
    return chosen;
}

std::vector<std::string> Patterns::unused() const {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
        if (!used_[i]) {
            result.push_back(patterns_[i]);
        }
    }
    return result;
}

ExitStatus reportUnused(const Patterns& patterns, const std::string& package, Context& context) {
    ExitStatus status = ExitStatus::done;
    for (const auto& pattern : patterns.unused()) {
        status = answerNo(nameInMessages(package) + ": nothing matches " + stream::escapeForDisplay(pattern), "",
                          context);
    }
    return status;
}

}  // namespace bex::tool

#include "verbs/Patterns.hpp"

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "verbs/Input.hpp"

namespace bex::tool {

Patterns::Patterns(const std::vector<std::string>& patterns)
    : patterns_(patterns.begin(), patterns.end()), used_(patterns.size()) {}

bool Patterns::choose(const stream::Entry& entry) {
    return patterns_.empty() || choosePath(stream::plainPath(entry.path));
}

bool Patterns::choosePath(const std::string& path) {
    bool chosen = patterns_.empty();
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
        if (patterns_[i].matchesAtOrAbove(path)) {
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
            result.push_back(patterns_[i].text());
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

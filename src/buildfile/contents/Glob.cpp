#include "buildfile/contents/Glob.hpp"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

// A backslash counts: a pattern with an escaped character must be read as one for the escape to go away.
constexpr const char* kWildcards = "*?[{\\";
// Pairs of braces multiply: ten of them with four words each are a million patterns.
constexpr std::size_t kMostAlternatives = 1000;

/// Where the brace that closes the one at `open` stands; npos where none does. Commas between them, in no braces
/// of their own, are added to `commas`.
std::size_t closing(const std::string& text, std::size_t open, std::vector<std::size_t>& commas) {
    std::size_t depth = 0;
    for (std::size_t i = open; i < text.size(); ++i) {
        if (text[i] == '\\') {
            // An escaped character is never a brace or a comma.
            ++i;
        } else if (text[i] == '{') {
            ++depth;
        } else if (text[i] == '}' && --depth == 0) {
            return i;
        } else if (text[i] == ',' && depth == 1) {
            commas.push_back(i);
        }
    }
    return std::string::npos;
}

/// The pattern with one word of each pair of braces in its place, for all of them. The outermost first pair of
/// braces of each pattern is opened until there is none.
std::vector<std::string> withoutBraces(const std::string& pattern) {
    std::vector<std::string> done;
    std::vector<std::string> open = {pattern};
    while (!open.empty()) {
        // Each round opens one pair of braces, so that patterns get shorter and the loop ends. The order does not
        // matter: a path is taken if any alternative takes it.
        const std::string text = std::move(open.back());
        open.pop_back();
        std::vector<std::size_t> ends;
        const std::size_t begin = text.find('{');
        const std::size_t end = begin == std::string::npos ? begin : closing(text, begin, ends);
        if (end == std::string::npos) {
            done.push_back(text);
        } else {
            ends.push_back(end);
            std::size_t word = begin + 1;
            for (const std::size_t comma : ends) {
                open.push_back(text.substr(0, begin) + text.substr(word, comma - word) + text.substr(end + 1));
                word = comma + 1;
            }
        }
        if (done.size() + open.size() > kMostAlternatives) {
            throw std::length_error("its braces stand for more than " + std::to_string(kMostAlternatives) +
                                    " patterns");
        }
    }
    return done;
}

}  // namespace

bool Glob::isGlob(const std::string& path) noexcept {
    return path.find_first_of(kWildcards) != std::string::npos;
}

Glob::Glob(const std::string& pattern) {
    // The last slash before the first wildcard: the directory above needs no matching and is where the walk
    // begins.
    const std::size_t slash = pattern.rfind('/', pattern.find_first_of(kWildcards));
    std::size_t begin = 0;
    root_ = ".";
    if (slash != std::string::npos) {
        root_ = stream::orIfEmpty(std::string_view(pattern).substr(0, slash), "/");
        begin = slash + 1;
    }
    for (const std::string& plain : withoutBraces(pattern.substr(begin))) {
        Alternative& components = alternatives_.emplace_back();
        stream::forEachPart(stream::plainPath(plain), '/', [&components](std::string_view part) {
            // "**" counts only as a whole component; elsewhere it is the same as "*".
            components.push_back({part == "**", stream::Pattern(part)});
        });
    }
}

/// Keeps the set of components that may come next while it goes along the path, so that time grows with the
/// product of both lengths, however many "**" there are.
Glob::Answer Glob::answer(const Alternative& alternative, const std::string& path) {
    std::vector<bool> next(alternative.size() + 1);
    const auto reach = [&](std::vector<bool>& states, std::size_t state) {
        states[state] = true;
        while (state < alternative.size() && alternative[state].isAnyDepth) {
            states[++state] = true;  // stands for no component at all
        }
    };
    // next[i] means: components before i have taken the path so far. The last element means that all have.
    reach(next, 0);
    Answer answer;
    stream::forEachPart(path, '/', [&](std::string_view part) {
        std::vector<bool> after(next.size());
        for (std::size_t state = 0; state < alternative.size(); ++state) {
            if (next[state] && alternative[state].isAnyDepth) {
                // "**" has taken this component and may take further ones.
                reach(after, state);
            } else if (next[state] && alternative[state].pattern.matches(std::string(part))) {
                reach(after, state + 1);
            }
        }
        next = std::move(after);
        // Not only at the end: what lies below a directory that the pattern takes is taken too.
        answer.takes = answer.takes || next.back();
    });
    answer.matches = next.back();
    // Something is left that an entry below the path could still match.
    for (std::size_t state = 0; state < alternative.size(); ++state) {
        answer.mayBeBelow = answer.mayBeBelow || next[state];
    }
    return answer;
}

bool Glob::any(bool Answer::*part, const std::string& path) const {
    return std::any_of(alternatives_.begin(), alternatives_.end(),
                       [&](const Alternative& alternative) { return answer(alternative, path).*part; });
}

bool Glob::takes(const std::string& path) const {
    return any(&Answer::takes, path);
}

bool Glob::matches(std::string_view path) const {
    if (root_ != ".") {
        // The pattern's components begin after its root and a slash.
        if (path.substr(0, root_.size()) != root_ || path.size() <= root_.size() || path[root_.size()] != '/') {
            return false;
        }
        path.remove_prefix(root_.size() + 1);
    }
    return any(&Answer::matches, std::string(path));
}

bool Glob::mayBeBelow(const std::string& directory) const {
    return any(&Answer::mayBeBelow, directory);
}

}  // namespace bex::buildfile

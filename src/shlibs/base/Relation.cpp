#include "shlibs/base/Relation.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

constexpr std::string_view kSpaces = " \t\n\r";
constexpr std::string_view kEndsOfName = " \t\n\r:([<|,";

/// Reads one value from front to back.
class Reader {
public:
    Reader(std::string_view text, const std::string& where) : text_(text), rest_(text), where_(where) {}

    std::vector<Alternatives> read() {
        std::vector<Alternatives> all;
        while (skipToRelation()) {
            Alternatives& group = all.emplace_back();
            do {
                group.push_back(relation());
            } while (take('|'));
            if (!atEnd() && rest_.front() != ',') {
                throw fault();
            }
        }
        return all;
    }

private:
    StreamError fault() const {
        return damaged(where_, "\"" + stream::escapeForDisplay(text_) + "\" is not a dependency");
    }

    void skipSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(kSpaces), rest_.size())); }

    bool atEnd() {
        skipSpace();
        return rest_.empty();
    }

    /// Empty relations between commas mean nothing.
    bool skipToRelation() {
        while (take(',')) {
        }
        return !atEnd();
    }

    bool take(char wanted) {
        skipSpace();
        if (rest_.empty() || rest_.front() != wanted) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    std::string_view until(std::string_view ends) {
        const std::string_view taken = rest_.substr(0, rest_.find_first_of(ends));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view name() {
        skipSpace();
        const std::string_view taken = until(kEndsOfName);
        const auto allowed = [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
                   c == '-' || c == '.';
        };
        if (taken.empty() || !std::all_of(taken.begin(), taken.end(), allowed) || taken.front() < '0') {
            throw fault();
        }
        return taken;
    }

    std::string_view enclosed(std::string_view end) {
        const std::string_view taken = trimmed(until(end));
        if (taken.empty() || rest_.empty()) {
            throw fault();
        }
        rest_.remove_prefix(1);
        return taken;
    }

    void version(Relation& relation) {
        skipSpace();
        const std::size_t length = std::min(rest_.find_first_not_of("<>="), rest_.size());
        std::string_view sign = rest_.substr(0, length);
        rest_.remove_prefix(length);
        if (sign == "<") {  // obsolete signs, which always meant "or equal"
            sign = "<=";
        } else if (sign == ">") {
            sign = ">=";
        }
        constexpr std::array<std::string_view, 5> known{"<<", "<=", "=", ">=", ">>"};
        if (std::find(known.begin(), known.end(), sign) == known.end()) {
            throw fault();
        }
        relation.sign = sign;
        relation.version = enclosed(")");
        if (relation.version.find_first_of(kSpaces) != std::string::npos) {
            throw fault();
        }
    }

    Relation relation() {
        Relation relation;
        relation.package = name();
        if (!rest_.empty() && rest_.front() == ':') {
            rest_.remove_prefix(1);
            relation.qualifier = name();
        }
        if (take('(')) {
            version(relation);
        }
        if (take('[')) {
            relation.architectures = enclosed("]");
        }
        while (take('<')) {
            relation.profiles.emplace_back(enclosed(">"));
        }
        return relation;
    }

    std::string_view text_;
    std::string_view rest_;
    const std::string& where_;
};

std::size_t rankOf(std::string_view sign) noexcept {
    constexpr std::array<std::string_view, 6> order{"", ">=", ">>", "=", "<<", "<="};
    return static_cast<std::size_t>(std::find(order.begin(), order.end(), sign) - order.begin());
}

int compare(const Relation& a, const Relation& b) {
    if (const int difference = a.package.compare(b.package); difference != 0) {
        return difference;
    }
    if (rankOf(a.sign) != rankOf(b.sign)) {
        return rankOf(a.sign) < rankOf(b.sign) ? -1 : 1;
    }
    return compareVersions(a.version, b.version);
}

std::string formatOne(const Relation& relation) {
    std::string text = relation.package;
    if (!relation.qualifier.empty()) {
        text += ":" + relation.qualifier;
    }
    if (!relation.sign.empty()) {
        text += " (" + relation.sign + " " + relation.version + ")";
    }
    if (!relation.architectures.empty()) {
        text += " [" + relation.architectures + "]";
    }
    for (const std::string& profile : relation.profiles) {
        text += " <" + profile + ">";
    }
    return text;
}

/// "linux-any" and "any-amd64" stand for every Debian GNU/Linux architecture and for every kernel.
bool matches(std::string_view pattern, std::string_view architecture) {
    constexpr std::string_view anyKernel = "any-";
    return pattern == architecture || pattern == "any" || pattern == "linux-any" ||
           (pattern.substr(0, anyKernel.size()) == anyKernel && pattern.substr(anyKernel.size()) == architecture);
}

/// One term of a profile formula holds where no profile is active: each of its words is negated.
bool holdsWithoutProfiles(std::string_view term) {
    for (std::string_view word = nextWord(term); !word.empty(); word = nextWord(term)) {
        if (word.front() != '!') {
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<Alternatives> parseRelations(std::string_view text, const std::string& where) {
    return Reader(text, where).read();
}

std::string formatRelation(const Alternatives& alternatives) {
    std::string text;
    for (const Relation& relation : alternatives) {
        stream::appendPart(text, " | ", formatOne(relation));
    }
    return text;
}

bool comesBefore(const Alternatives& a, const Alternatives& b) {
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        if (const int difference = compare(a[i], b[i]); difference != 0) {
            return difference < 0;
        }
    }
    return a.size() < b.size();
}

bool concerns(std::string_view architectures, std::string_view architecture) {
    bool negated = false;
    for (std::string_view word = nextWord(architectures); !word.empty(); word = nextWord(architectures)) {
        negated = word.front() == '!';
        if (negated) {
            word.remove_prefix(1);
        }
        if (matches(word, architecture)) {
            return !negated;
        }
    }
    return negated;
}

bool concerns(const Relation& relation, std::string_view architecture) {
    const bool here = relation.architectures.empty() || concerns(relation.architectures, architecture);
    return here && (relation.profiles.empty() ||
                    std::any_of(relation.profiles.begin(), relation.profiles.end(), holdsWithoutProfiles));
}

}  // namespace bex::shlibs

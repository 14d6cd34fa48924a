#include "shlibs/base/Relation.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

// A field folded over several lines keeps its newlines, and deb-control(5) allows blanks between any two tokens.
constexpr std::string_view kSpaces = " \t\n\r";
constexpr std::string_view kEndsOfName = " \t\n\r:([<|,";

/// Reads one value from front to back.
class Reader {
public:
    Reader(std::string_view text, const std::string& where) : text_(text), rest_(text), where_(where) {}

    /// Each round takes at least one relation or throws, so the loop ends. Linear in the text.
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
    /// Quotes the whole value: an excerpt would hide what came before the fault.
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

    /// Skips blanks, then the character if it comes next. Blanks are gone even when it does not.
    bool take(char wanted) {
        skipSpace();
        if (rest_.empty() || rest_.front() != wanted) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    /// Up to the first of these characters or the end; the character itself stays.
    std::string_view until(std::string_view ends) {
        const std::string_view taken = rest_.substr(0, rest_.find_first_of(ends));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    /// A package name or qualifier. The rules are looser than for a name of one's own (capitals and single letters
    /// pass), but none begins with one of "+-.", the allowed characters that sort before '0'.
    std::string_view name() {
        skipSpace();
        const std::string_view taken = until(kEndsOfName);
        const auto allowed = [](char c) { return stream::isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; };
        if (taken.empty() || !std::all_of(taken.begin(), taken.end(), allowed) || taken.front() < '0') {
            throw fault();
        }
        return taken;
    }

    /// The text before a closing bracket, whose opening one is taken already. Neither may be missing, nor the
    /// text.
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
        // The longest run of sign characters: ">>=" must be refused and not be read as ">>" with a version "=...".
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

/// The parser lets only these signs through, so the result is within the table.
std::size_t rankOf(std::string_view sign) noexcept {
    constexpr std::array<std::string_view, 6> order{"", ">=", ">>", "=", "<<", "<="};
    return static_cast<std::size_t>(std::find(order.begin(), order.end(), sign) - order.begin());
}

/// Qualifier and restrictions do not count: relations that differ in those alone keep their order.
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
    // deb-src-control(5) allows either only plain names or only negated ones: with the former, no match means no;
    // with the latter it means yes. The last word decides which it is.
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

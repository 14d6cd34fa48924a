#include "shlibs/info/SymbolPatterns.hpp"

#include <cxxabi.h>
#include <re2/re2.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <unordered_map>

#include "shlibs/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

constexpr std::int64_t kExpressionBytes = std::int64_t{1} << 20;  ///< memory of one compiled expression
constexpr std::size_t kMaximumExpressions = 2000;
/// Bytes of symbols held against expressions: ten thousand symbols of fifty bytes against five hundred.
constexpr std::uint64_t kMaximumWork = std::uint64_t{256} << 20;
/// A mangled name can say "as before" of a part, which may double the demangled name.
constexpr std::size_t kMaximumMangledBytes = 1024;
constexpr std::size_t kMaximumReferences = 16;

/// Counts what may be a substitution ("S_", "S0_", "T_") by the text alone: letters of a plain name may count too,
/// which only leaves a symbol as it is. One pass, before the demangler sees the name.
std::size_t referencesIn(std::string_view mangled) {
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < mangled.size(); ++i) {
        const char next = mangled[i + 1];
        const bool numbered = next == '_' || stream::isDigit(next) || stream::isUpperCase(next);
        if ((mangled[i] == 'S' || mangled[i] == 'T') && numbered) {
            ++count;
        }
    }
    return count;
}

/// "name@version" with the name demangled as c++filt(1) does; empty where it is not a C++ symbol, or one whose
/// demangled name may have no sensible end.
std::string demangled(std::string_view symbol) {
    const std::size_t at = symbol.rfind('@');
    const std::string name(symbol.substr(0, at));
    if (!stream::startsWith(name, "_Z") || name.size() > kMaximumMangledBytes ||
        referencesIn(name) > kMaximumReferences) {
        return {};
    }
    // The text is the demangler's, allocated by malloc(): free() and not delete ends it.
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status),
                                                      std::free);
    if (text == nullptr) {
        return {};
    }
    return text.get() + std::string(symbol.substr(std::min(at, symbol.size())));
}

}  // namespace

bool hasTag(const Tags& tags, std::string_view name) noexcept {
    return std::any_of(tags.begin(), tags.end(), [name](const auto& tag) { return tag.first == name; });
}

/// Patterns in three groups, asked in the order of deb-src-symbols(5): aliases by demangled name, aliases by
/// version, and generic patterns in the order of their lines. The first two are look-ups, whatever their number
/// is.
class SymbolPatterns::State {
public:
    explicit State(std::string where) : where_(std::move(where)) {}

    void add(std::string_view expression, const Tags& tags, std::size_t line) {
        // Every pattern has a number, aliases too: the caller keeps lines by it.
        const std::size_t number = count_++;
        std::vector<std::string> kinds;
        for (const auto& [name, value] : tags) {
            if (name == "c++" || name == "symver" || name == "regex") {
                // In the order of the tags, which is the order in which matches() applies them.
                kinds.emplace_back(name);
            }
        }
        needDemangling_ = needDemangling_ || hasTag(tags, "c++");
        if (kinds.size() == 1 && kinds.front() != "regex") {
            auto& aliases = kinds.front() == "c++" ? demangled_ : versions_;
            // Of two equal aliases the first stays.
            aliases.emplace(expression, number);
            return;
        }
        if (generic_.size() >= kMaximumExpressions) {
            throw failure(ErrorKind::limitExceeded, where_,
                          "has more than " + std::to_string(kMaximumExpressions) + " patterns");
        }
        generic_.push_back({number, std::string(expression), std::move(kinds), compiled(expression, tags, line)});
    }

    bool empty() const noexcept { return count_ == 0; }

    std::optional<std::size_t> find(std::string_view symbol) {
        std::string readable;
        if (needDemangling_) {
            readable = demangled(symbol);
        }
        // An empty name means that the symbol is not demangled: it must not find an alias with an empty name.
        if (const auto found = demangled_.find(readable); found != demangled_.end() && !readable.empty()) {
            return found->second;
        }
        // Callers give "name@version". Without an "@", npos + 1 makes the whole symbol the version.
        const std::string version(symbol.substr(symbol.rfind('@') + 1));
        if (const auto found = versions_.find(version); found != versions_.end()) {
            return found->second;
        }
        for (const Generic& pattern : generic_) {
            if (matches(pattern, symbol, readable)) {
                return pattern.number;
            }
        }
        return std::nullopt;
    }

private:
    struct Generic {
        std::size_t number;
        std::string expression;
        std::vector<std::string> kinds;  ///< in the order in which they are applied
        std::unique_ptr<re2::RE2> compiled;
    };

    /// Null for a pattern without the tag. RE2 bounds the memory of the compiled form and matches in linear time.
    std::unique_ptr<re2::RE2> compiled(std::string_view expression, const Tags& tags, std::size_t line) const {
        if (!hasTag(tags, "regex")) {
            return nullptr;
        }
        re2::RE2::Options options(re2::RE2::Quiet);
        options.set_max_mem(kExpressionBytes);
        auto result = std::make_unique<re2::RE2>(re2::StringPiece(expression.data(), expression.size()), options);
        if (!result->ok()) {
            throw damaged(where_,
                          "the regular expression cannot be used: " + stream::escapeForDisplay(result->error()),
                          line);
        }
        return result;
    }

    /// Each kind looks at what the one before it made of the symbol; only demangling changes it.
    bool matches(const Generic& pattern, std::string_view symbol, std::string_view readable) {
        // Counted over the whole life of the object, so that many files against many patterns are bounded too.
        work_ += symbol.size() + readable.size();
        if (work_ > kMaximumWork) {
            throw failure(ErrorKind::limitExceeded, where_, "its patterns would take too much time");
        }
        std::string_view subject = symbol;
        for (const std::string& kind : pattern.kinds) {
            if (kind == "c++") {
                subject = readable;
                if (subject.empty()) {
                    return false;
                }
                // Together with a regular expression, the text is that expression and not a version: it alone
                // decides then.
            } else if (kind == "symver") {
                if (symbol.substr(symbol.rfind('@') + 1) != pattern.expression && pattern.compiled == nullptr) {
                    return false;
                }
            } else if (!re2::RE2::PartialMatch(re2::StringPiece(subject.data(), subject.size()),
                                               *pattern.compiled)) {
                return false;
            }
        }
        return true;
    }

    std::string where_;
    std::size_t count_ = 0;
    bool needDemangling_ = false;
    std::unordered_map<std::string, std::size_t> demangled_;
    std::unordered_map<std::string, std::size_t> versions_;
    // The only group whose cost grows with its size: kMaximumExpressions and work_ bound it.
    std::vector<Generic> generic_;
    std::uint64_t work_ = 0;
};

SymbolPatterns::SymbolPatterns(std::string where) : state_(std::make_unique<State>(std::move(where))) {}
SymbolPatterns::~SymbolPatterns() = default;
SymbolPatterns::SymbolPatterns(SymbolPatterns&&) noexcept = default;
SymbolPatterns& SymbolPatterns::operator=(SymbolPatterns&&) noexcept = default;

bool SymbolPatterns::arePattern(const Tags& tags) noexcept {
    return hasTag(tags, "c++") || hasTag(tags, "symver") || hasTag(tags, "regex");
}

void SymbolPatterns::add(std::string_view expression, const Tags& tags, std::size_t line) {
    state_->add(expression, tags, line);
}

bool SymbolPatterns::empty() const noexcept {
    return state_->empty();
}

std::optional<std::size_t> SymbolPatterns::find(std::string_view symbol) const {
    return state_->find(symbol);
}

}  // namespace bex::shlibs

#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bex::shlibs {

/// A symbol's tags, in order: deb-src-symbols(5). The parts lie in the line that they were read from.
using Tags = std::vector<std::pair<std::string_view, std::string_view>>;

bool hasTag(const Tags& tags, std::string_view name) noexcept;

/// The patterns of one library. Each match takes time in proportion to the symbol's length; where all together
/// would take too much, a stream::StreamError (`limitExceeded`) ends the search.
class SymbolPatterns {
public:
    /// `where` names the symbols file in messages.
    explicit SymbolPatterns(std::string where = {});
    ~SymbolPatterns();
    SymbolPatterns(SymbolPatterns&&) noexcept;
    SymbolPatterns& operator=(SymbolPatterns&&) noexcept;

    /// Whether the tags make a pattern of the symbol.
    static bool arePattern(const Tags& tags) noexcept;

    /// Adds one; they are numbered from 0. Throws stream::StreamError (`damaged`) for an expression that RE2 does
    /// not take, such as one with back-references, whose time has no bound.
    void add(std::string_view expression, const Tags& tags, std::size_t line);

    bool empty() const noexcept;

    /// The number of the pattern that the symbol "name@version" falls to: of those that name one demangled symbol
    /// first, then of those that name a version, then the first other one that matches.
    std::optional<std::size_t> find(std::string_view symbol) const;

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::shlibs

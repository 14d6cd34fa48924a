#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Pattern.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// Patterns of the command line that choose entries. One that matches a directory chooses all below it. No pattern
/// chooses everything.
class Patterns {
public:
    explicit Patterns(const std::vector<std::string>& patterns);

    /// Whether the entry is chosen. Remembers which patterns chose something.
    bool choose(const stream::Entry& entry);
    bool choosePath(const std::string& plainPath);

    /// The patterns that have chosen nothing so far.
    std::vector<std::string> unused() const;

private:
    std::vector<stream::Pattern> patterns_;
    std::vector<bool> used_;
};

/// Reports the patterns that matched nothing in the package; the answer is then no.
ExitStatus reportUnused(const Patterns& patterns, const std::string& package, Context& context);

}  // namespace bex::tool

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Pattern.hpp"
#include "output/Console.hpp"

namespace bex::tool {

/// The patterns of --exclude, which say by its path in the package what of a tree is left out.
class Exclusions {
public:
    using Filter = std::function<bool(const stream::Entry&)>;

    explicit Exclusions(const std::vector<std::string>& patterns);

    /// A filter for a tree that is placed at `prefix`: what no pattern matches and `other`, if it is given, lets
    /// pass. This must outlive it.
    Filter filter(const std::string& prefix, Filter other = nullptr);

    /// Prints a note for each pattern that has matched nothing.
    void noteUnused(Console& console) const;

private:
    struct Rule {
        stream::Pattern pattern;
        bool used = false;
    };
    bool excludes(const std::string& path);

    std::vector<Rule> rules_;
};

}  // namespace bex::tool

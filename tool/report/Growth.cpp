#include "report/Growth.hpp"

#include <algorithm>
#include <map>

namespace bex::tool {

namespace {

/// Without a sign: a difference of two sizes does not fit a signed number.
std::uint64_t distance(const SizeChange& change) {
    return std::max(change.before, change.after) - std::min(change.before, change.after);
}

void sortByDistance(std::vector<SizeChange>& changes) {
    std::stable_sort(changes.begin(), changes.end(),
                     [](const SizeChange& a, const SizeChange& b) { return distance(a) > distance(b); });
}

}  // namespace

Growth growthOf(const PackageFigures& before, const PackageFigures& after) {
    // Sorted by path, which the stable sort below keeps for equal differences. What one package lacks has size 0
    // there.
    std::map<std::string, SizeChange> changes;
    for (const EntryFigures& entry : before.entries) {
        changes[entry.path].before = entry.size;
    }
    for (const EntryFigures& entry : after.entries) {
        changes[entry.path].after = entry.size;
    }
    Growth growth;
    for (auto& [path, change] : changes) {
        change.path = path;
        if (change.after > change.before) {
            growth.grew.push_back(change);
        } else if (change.after < change.before) {
            growth.shrank.push_back(change);
        }
    }
    sortByDistance(growth.grew);
    sortByDistance(growth.shrank);
    return growth;
}

}  // namespace bex::tool

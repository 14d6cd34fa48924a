#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/Figures.hpp"

namespace bex::tool {

/// A path whose contents have another size in the second package; 0 where it is absent.
struct SizeChange {
    std::string path;
    std::uint64_t before = 0;
    std::uint64_t after = 0;
};

/// The largest differences first.
struct Growth {
    std::vector<SizeChange> grew;
    std::vector<SizeChange> shrank;
};

Growth growthOf(const PackageFigures& before, const PackageFigures& after);

}  // namespace bex::tool

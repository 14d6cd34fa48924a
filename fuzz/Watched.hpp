#pragma once

#include <string>

#include "stream/extract/Unpacking.hpp"

namespace bex::fuzz {

/// A destination with canaries beside it: a file and a folder that nothing may touch.
class Watched {
public:
    /// Whether the destination holds links to the canaries: symlinks "link" and "folder", a hard link "name".
    enum class Traps { none, set };

    explicit Watched(Traps traps);

    const std::string& destination() const { return destination_; }

    /// Ends the process unless all that stands beside the destination is what it was.
    void check() const;

private:
    std::string surroundings() const;

    test::unpacking::RemovableDirectory folder_;
    std::string destination_;
    std::string before_;
};

}  // namespace bex::fuzz

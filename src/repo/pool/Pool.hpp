#pragma once

#include <string>
#include <vector>

#include "repo/files/Files.hpp"
#include "repo/pool/Candidate.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The files that one command puts into the pool. Destroyed before keep(), it takes them out again.
class PoolAddition {
public:
    PoolAddition(const Layout& layout, System& system) : layout_(layout), system_(system) {}
    ~PoolAddition();
    PoolAddition(const PoolAddition&) = delete;
    PoolAddition& operator=(const PoolAddition&) = delete;

    /// Puts the package's file where its record says, unless the same bytes are there. Throws StreamError:
    /// (`invalidInput`, code "pool-conflict") where other bytes are there, with both digests; (`damaged`) where
    /// the file is not the one that was examined any more.
    void put(const Candidate& candidate, Placement placement);

    /// The files stay. What was to be moved leaves its old place.
    void keep();

private:
    bool link(const Candidate& candidate, const std::string& target);
    void copy(const Candidate& candidate, const std::string& target);

    const Layout& layout_;
    System& system_;
    std::vector<std::string> made_;
    std::vector<std::string> moved_;
};

/// Refuses a package whose name, version and architecture the repository has with other contents.
[[noreturn]] void failConflict(const Candidate& candidate, const std::string& place, const std::string& sha256);

}  // namespace bex::repo

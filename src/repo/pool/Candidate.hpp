#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "bex/repo/Repository.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::repo {

/// A package that is to be added, verified: its record, with the place in the pool where it belongs.
struct Candidate {
    std::string path;  ///< on disk
    std::string component;
    PackageRecord record;
};

/// Opens the package, verifies it and reads what an index says of it, all through one descriptor. Throws
/// StreamError: the first error of verify() that is not allowed, what the file system fails, `refused` for values
/// that lead out of the pool, and `damaged` for a file that changes meanwhile.
Candidate examine(const std::string& path, const std::string& component, const AddOptions& options);

}  // namespace bex::repo

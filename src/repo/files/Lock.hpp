#pragma once

#include <string>

#include "stream/system/Descriptor.hpp"

namespace bex::repo {

/// Holds the repository for one process that changes it, flock(2) on `.bex/lock`. The kernel releases it with the
/// process, however that ends.
class Lock {
public:
    /// Waits until nobody else holds it. Throws StreamError (`inputOutput`), also where `root` is not a
    /// repository.
    explicit Lock(const std::string& root);

private:
    stream::Descriptor file_;
};

}  // namespace bex::repo

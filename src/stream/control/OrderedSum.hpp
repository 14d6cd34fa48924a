#pragma once

#include <string_view>

#include "stream/base/Turns.hpp"
#include "stream/control/Md5.hpp"

namespace bex::stream {

/// The sum of contents that lie in several jobs, each done by its own thread.
class OrderedSum : public Turns {
public:
    /// Adds the next part. Only after waitFor(), which makes the caller the only one to use `sum`, and what is
    /// kept beside it, until this returns.
    void add(std::string_view part) {
        sum.update(part.data(), part.size());
        pass(part.size());
    }

    Md5 sum;  ///< of what has been added
};

}  // namespace bex::stream

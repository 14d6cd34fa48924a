#pragma once

#include <string_view>

#include "stream/control/OrderedSum.hpp"
#include "stream/writer/FileReader.hpp"

namespace bex::stream {

/// A file whose contents lie in several blocks of the payload, which are its jobs; a block's place in the order is
/// where it begins in the stream.
class SpanningFile : public OrderedSum {
public:
    /// Adds the next part, as OrderedSum does, and when it was read.
    void add(std::string_view part, const ChangeTimes& read) {
        if (!begun_) {
            times.before = read.before;
        }
        begun_ = true;
        times.after = read.after;
        OrderedSum::add(part);
    }

    ChangeTimes times;  ///< before the first part and after the last one that has been added

private:
    bool begun_ = false;
};

}  // namespace bex::stream

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
            times = read;
        }
        begun_ = true;
        // Parts are read in any order: whichever time differs from the first shows that the file changed.
        for (const timespec& time : {read.before, read.after}) {
            if (ChangeTimes{times.before, time}.differ()) {
                times.after = time;
            }
        }
        OrderedSum::add(part);
    }

    ChangeTimes times;  ///< of the parts that have been added; they differ if any two of them do

private:
    bool begun_ = false;
};

}  // namespace bex::stream

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "bex/MemoryMappedFile.hpp"

namespace bex {

std::time_t to_time_t(boost::posix_time::ptime t) {
    if (t.is_neg_infinity()) {
        return 0;
    }
    if (t.is_pos_infinity()) {
        return 2147483647;  // Meant: the largest 32-bit value, even where std::time_t is wider.
    }
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return (t - epoch).total_seconds();
}

}  // namespace bex

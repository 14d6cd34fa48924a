#pragma once

#include <cstdint>
#include <string>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Limits.hpp"
#include "stream/base/KeyedDigest.hpp"
#include "stream/base/PathOrder.hpp"
#include "stream/base/Place.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/index/IndexGroup.hpp"
#include "stream/index/PayloadIndex.hpp"

namespace bex::stream {

/// Compares a payload that is read to its end with the index after it, if it has one. Of the entries it keeps a
/// digest and one group, so that a stream that is read once can be compared, too.
class IndexCheck {
public:
    IndexCheck(const Limits& limits, const Place& place)
        : limits_(limits), place_(place), watch_(limits, place), entriesDigest_(watch_.key()) {}

    /// What the decompressor of the payload reports its members to.
    BlockWatch& watch() noexcept { return watch_; }

    /// Takes the next entry.
    void add(const Entry& entry, const TarExtent& extent);

    /// Call at the end of the stream. Refuses an index that differs (`index-mismatch`), and notes one of a version
    /// that cannot be compared (`index-version`). Throws StreamError (`limitExceeded`).
    void finish();

    /// Call instead of finish() where the entries could not be read, for the given reason: refuses any index.
    void refuseUncompared(const std::string& reason) const;

private:
    void compare();
    void requireSame(std::uint64_t said, std::uint64_t found, const char* what) const;
    void endGroup();

    const Limits limits_;
    const Place place_;
    BlockWatch watch_;
    IndexGroup group_;
    PathOrder order_;
    std::uint64_t entries_ = 0;
    KeyedDigest entriesDigest_;
};

}  // namespace bex::stream

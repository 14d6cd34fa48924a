#pragma once

#include <set>
#include <string>

#include "bex/stream/Member.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

enum class MemberRole { formatVersion, control, data, passedOver };

/// Throws StreamError for a package that lacks its control or data member.
[[noreturn]] void failMissing(const Place& place, MemberRole role);

/// Which members a package may have, and in which order (deb(5)): debian-binary, control.tar*, data.tar*; members
/// whose name begins with "_" anywhere after the first; others after data only. Strict where readers disagree.
class MemberOrder {
public:
    explicit MemberOrder(Place place) : place_(std::move(place)) {}

    /// Takes the next member, sets its compression and tells what it is. Refuses what breaks the order.
    MemberRole place(Member& member);

    /// Whether all that a package needs has been seen.
    bool complete() const noexcept { return !control_.empty() && !data_.empty(); }

    /// Throws StreamError for a member that is missing. Call once, after the last.
    void end() const;

private:
    MemberRole roleOf(Member& member) const;
    bool serves(const Member& member, MemberRole role, bool first);
    bool checkControl(const Member& member);
    bool checkData(const Member& member);
    void checkUnknown(const Member& member) const;

    Place place_;
    std::set<std::string> names_;
    std::string control_;
    std::string data_;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Source.hpp"
#include "bex/stream/TrailingMember.hpp"
#include "stream/ar/ArWriter.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// The members after the data member of one package. Call the functions in their order.
class TrailingMembers {
public:
    /// Throws StreamError (`invalidInput`) for a name that such a member may not have. `wanted` must outlive this.
    explicit TrailingMembers(const std::vector<TrailingMember>& wanted);

    bool empty() const noexcept { return wanted_.empty(); }
    /// Calls TrailingMember::begin.
    void begin();
    /// Names the next member that they cover, and the number of its bytes, to all makers.
    void beginMember(const std::string& name, std::uint64_t bytes);
    /// Gives a piece of its contents to all makers.
    void take(std::string_view piece);
    /// Makes the members, and destroys their makers.
    void finish();
    void appendTo(ArWriter& package, std::int64_t mtime) const;
    /// Throws StreamError (`damaged`) if the last bytes of the package are not those of appendTo(). `place`: the
    /// package.
    void compare(Source& package, const Place& place) const;

private:
    const std::vector<TrailingMember>& wanted_;
    std::vector<std::unique_ptr<MemberMaker>> makers_;
    std::vector<std::string> contents_;  ///< in the order of the names
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "bex/stream/Export.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// Makes the bytes of one member out of those before it. write() gets the contents, without headers and padding,
/// of debian-binary, the control member and the data member, in this order and in pieces of any length. This is
/// what a signature of debsigs(1) covers.
class BEX_EXPORT MemberMaker : public Sink {
public:
    ~MemberMaker() override;

    /// Called before the contents of each of the three members, also of empty ones, with its name and their number
    /// of bytes. Does nothing unless overridden. May throw.
    virtual void beginMember(const std::string& name, std::uint64_t bytes);

    /// Returns the member's contents. Called once, last. May throw.
    virtual std::string finish() = 0;
};

/// A member after the data member, such as a signature. Readers of packages ignore it, deb(5).
struct TrailingMember {
    std::string name;  ///< "_" and 1 to 15 letters, digits, ".", "-" or "_"; different from the others' names
    /// Called once for each package that is written, before its payload is read; so what it needs, such as a key,
    /// can be checked before the long work. Not called in a dry run. The maker is destroyed before write()
    /// returns.
    std::function<std::unique_ptr<MemberMaker>()> begin;
};

}  // namespace bex::stream

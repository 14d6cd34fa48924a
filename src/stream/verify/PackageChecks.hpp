#pragma once

#include <functional>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Member.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/verify/PayloadCheck.hpp"

namespace bex::stream {

// The checks of a package that PackageStream reads without them. What is wrong goes to the handler of the places.

/// Checks the members of the control archive, each by itself, and returns the control paragraph, empty where it
/// can't be read. `control` is the place of the archive.
ControlParagraph checkControlMembers(const std::vector<ControlMember>& members, const Place& control);

/// Reads the payload to its end and compares it with what the members of the control archive say of it. `control`
/// and `payload` are the places of both archives; `onEntry` is told of every entry. Throws as
/// PackageStream::next().
void checkPayload(PackageStream& stream, const std::vector<ControlMember>& members, const Place& control,
                  const Place& payload, PayloadDepth depth,
                  const std::function<void(const Entry&)>& onEntry = nullptr);

}  // namespace bex::stream

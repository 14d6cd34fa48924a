#pragma once

#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "output/Context.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/Payload.hpp"

namespace bex::tool {

/// Fills the control paragraph from the tree's DEBIAN/control or the named file, then from the options.
/// Throws StreamError or UsageError naming what cannot be used.
void fillControl(const BuildArguments& arguments, stream::PackageWriter& writer);

/// Gives the paragraph this machine's architecture where it has none. Throws UsageError, with Debian's word, for
/// the name that another system has for an architecture.
void settleArchitecture(stream::ControlParagraph& control);

/// Adds what stands beside DEBIAN/control in the tree and what options name as control members, and prints a note
/// for each that dpkg does not know. Throws as above.
void addControlMembers(const BuildArguments& arguments, stream::PackageWriter& writer, Context& context);

/// Adds payload and control members, and prints notes about what is left out or unknown. `target` is the path of
/// the package: an earlier one that stands in the tree is not payload. Throws as above.
void addContents(const BuildArguments& arguments, const std::string& target, Payload& payload, Context& context);

}  // namespace bex::tool

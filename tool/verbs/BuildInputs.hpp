#pragma once

#include <string>
#include <vector>

#include "bex/stream/PackageWriter.hpp"
#include "output/Context.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/Strip.hpp"

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

/// The files and directories on disk that the payload is made of.
std::vector<std::string> payloadSources(const BuildArguments& arguments);

/// What addContents() needs beside the arguments.
struct PayloadPlaces {
    std::string target;       ///< the path of the package: an earlier one that stands in the tree is not payload
    StrippedFiles& stripped;  ///< gives the copies that are packaged in the place of programs and libraries
};

/// Adds payload and control members, and prints notes about what is left out or unknown. Throws as above.
void addContents(const BuildArguments& arguments, const PayloadPlaces& places, stream::PackageWriter& writer,
                 Context& context);

}  // namespace bex::tool

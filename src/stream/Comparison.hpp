#pragma once

#include "stream/writer/FileReader.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

class PackageReader;

/// Reads the package's payload and holds each entry, attributes and bytes, against the plan and its sources.
/// Throws StreamError: `damaged` naming the first entry that differs; what the reader and the sources throw.
void compareWithSources(PackageReader& package, const Plan& plan, FileReader sources);

}  // namespace bex::stream

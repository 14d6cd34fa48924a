#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bex/stream/Export.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Source.hpp"
#include "bex/stream/VerifyOptions.hpp"

namespace bex::stream {

/// Checks all of a package: structure, every checksum, md5sums against contents, fields, conffiles, triggers and
/// maintainer scripts, entries that extraction would refuse, what dpkg refuses or other readers see differently,
/// bytes after the end marks. Inflates gzip with zlib, as dpkg-deb does, which takes more time than reading. Goes
/// on after an error as far as the format allows and returns all findings: none when all is well; a package
/// without an error among them is unpacked and registered by dpkg. Stops with the code "limit" where a step makes
/// more than 100000. Reads the package once, so it may be a pipe. Throws StreamError (`inputOutput`, `cancelled`)
/// only for what is not the package's fault, and what onFinding throws.
BEX_EXPORT std::vector<Finding> verify(const std::string& path, const VerifyOptions& options = {});

/// Verifies what PackageReader would read from the descriptor or source.
BEX_EXPORT std::vector<Finding> verify(int descriptor, const std::string& name, const VerifyOptions& options = {});
BEX_EXPORT std::vector<Finding> verify(std::shared_ptr<Source> source, const std::string& name,
                                       const VerifyOptions& options = {});
BEX_EXPORT std::vector<Finding> verify(std::unique_ptr<ForwardSource> source, const std::string& name,
                                       const VerifyOptions& options = {});

}  // namespace bex::stream

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

/// Checks a whole package: structure, every checksum, md5sums against contents, fields, conffiles, triggers and
/// maintainer scripts, entries that extraction or dpkg would refuse or that other readers see differently, and
/// bytes after the end marks. Inflates gzip with zlib, as dpkg-deb does, which takes more time than reading.
/// Continues after an error as far as the format allows and returns all findings, none for a sound package. dpkg
/// unpacks and registers a package without errors. Stops with the code "limit" if a step makes more than 100000
/// findings. Reads the package once, so it may be a pipe. Throws StreamError (`inputOutput`, `cancelled`) only for
/// failures that the package did not cause, and the exceptions of onFinding.
BEX_EXPORT std::vector<Finding> verify(const std::string& path, const VerifyOptions& options = {});

/// Verifies the package that PackageReader would read from the descriptor or source.
BEX_EXPORT std::vector<Finding> verify(int descriptor, const std::string& name, const VerifyOptions& options = {});
BEX_EXPORT std::vector<Finding> verify(std::shared_ptr<Source> source, const std::string& name,
                                       const VerifyOptions& options = {});
BEX_EXPORT std::vector<Finding> verify(std::unique_ptr<ForwardSource> source, const std::string& name,
                                       const VerifyOptions& options = {});

}  // namespace bex::stream

#pragma once

#include <string>
#include <vector>

#include "bex/Export.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/ReadOptions.hpp"

namespace bex::stream {

/// Checks all of a package: structure, every checksum, md5sums against contents, fields and conffiles, entries
/// that extraction would refuse, what other readers would see differently, bytes after the end marks. gzip is
/// inflated by zlib, as dpkg-deb does it, which takes more time than reading. Goes on after a fault as far as the
/// format allows and lists all; empty when all is well. Where that would be more than 100000, the code "limit"
/// ends what was being checked. Throws StreamError (`inputOutput`, `cancelled`) only for what is not the package's
/// fault.
BEX_EXPORT std::vector<Finding> verify(const std::string& path, const ReadOptions& options = {});

}  // namespace bex::stream

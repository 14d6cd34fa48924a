#pragma once

#include <string>
#include <vector>

#include "bex/Export.hpp"
#include "bex/stream/PackageReader.hpp"

namespace bex::stream {

/// One thing that is wrong with a package.
struct Finding {
    std::string code;    ///< stable, such as "md5-mismatch"; docs/findings.md lists them
    std::string member;  ///< of the ar archive; "" when none is meant
    std::string path;    ///< of the entry, as stored; "" when none is meant
    std::string text;    ///< one sentence for people, names escaped
};

/// Checks all of a package: structure, every checksum, md5sums against contents, fields and conffiles, entries
/// that extraction would refuse, what other readers would see differently, bytes after the end marks. gzip is
/// inflated by zlib, as dpkg-deb does it, which takes more time than reading. Goes on after a fault as far as the
/// format allows and lists all; empty when all is well. Where that would be more than 100000, the code "limit"
/// ends what was being checked. Throws StreamError (`inputOutput`, `cancelled`) only for what is not the package's
/// fault.
BEX_EXPORT std::vector<Finding> verify(const std::string& path, const ReadOptions& options = {});

}  // namespace bex::stream

#include "bex/stream/Versions.hpp"

#include <bzlib.h>
#include <isa-l.h>
#include <libdeflate.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

namespace bex::stream {

std::vector<LibraryVersion> libraryVersions() {
    const std::string isal = std::to_string(ISAL_MAJOR_VERSION) + "." + std::to_string(ISAL_MINOR_VERSION) + "." +
                             std::to_string(ISAL_PATCH_VERSION);
    const std::string bzip2 = BZ2_bzlibVersion();
    return {{"libbexstream", BEX_VERSION},
            {"libdeflate", LIBDEFLATE_VERSION_STRING},
            {"isa-l", isal},
            {"zlib", zlibVersion()},
            {"libzstd", ZSTD_versionString()},
            {"liblzma", lzma_version_string()},
            {"libbz2", bzip2.substr(0, bzip2.find(','))}};
}

}  // namespace bex::stream

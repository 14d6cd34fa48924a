#include "repo/files/Digest.hpp"

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <vector>

#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "stream/system/System.hpp"

namespace bex::repo {

std::string sha256OfFile(int descriptor, const std::string& name) {
    constexpr std::size_t pieceBytes = std::size_t{1} << 18;
    std::vector<char> piece(pieceBytes);
    Hasher hasher;
    for (off_t offset = 0;;) {
        const ssize_t count = stream::System::real().pread(descriptor, piece.data(), piece.size(), offset);
        if (count < 0) {
            throw systemFailure(name, "read it", errno);
        }
        if (count == 0) {
            return hasher.finish().sha256;
        }
        hasher.update({piece.data(), static_cast<std::size_t>(count)});
        offset += count;
    }
}

}  // namespace bex::repo

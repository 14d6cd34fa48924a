#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Bytes that can be read at any offset, such as those of a package. A caller's own class may represent a part
/// of a larger file, a cache or a file on a server.
///
/// A source has no position. Several threads may call all functions at once.
class BEX_EXPORT Source {
public:
    virtual ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// Number of bytes. A reader calls this more than once; a package whose source shrinks meanwhile counts as
    /// truncated.
    virtual std::uint64_t size() = 0;

    /// Reads up to `size` bytes from `offset` on and returns their number, which is 0 only if `size` is 0 or
    /// `offset` is not less than size(). May return fewer bytes than are available. Throws StreamError
    /// (`inputOutput`); any other exception of a caller's class passes through the reader unchanged.
    virtual std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) = 0;

    /// `size` bytes from `offset` on.
    struct Range {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };

    /// Says what will be read soon, in this order, so that a source that is far away can fetch it ahead; what was
    /// said before still holds. A hint: any other place may be read at any time. Returns whether the source makes
    /// use of it, so that nobody collects ranges in vain; may be asked with no ranges. The default does nothing
    /// and returns false. Throws as readAt().
    virtual bool willRead(const std::vector<Range>& ranges);

    static constexpr std::uint64_t kToEnd = std::numeric_limits<std::uint64_t>::max();

    /// A regular file, open as long as the source lives. Throws StreamError (`inputOutput`) for anything else.
    static std::shared_ptr<Source> ofFile(const std::string& path);

    /// `length` bytes from `offset` on of the regular file behind a descriptor, fewer if the file ends earlier.
    /// The descriptor's own position is neither used nor moved. The descriptor stays the caller's and must outlive
    /// the source. Messages call it `name`. Throws as ofFile().
    static std::shared_ptr<Source> ofDescriptor(int descriptor, const std::string& name, std::uint64_t offset = 0,
                                                std::uint64_t length = kToEnd);

    /// Bytes in memory, which stay the caller's and must outlive the source.
    static std::shared_ptr<Source> ofMemory(std::string_view bytes);

protected:
    Source() = default;
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/system/TemporaryFile.hpp"

namespace bex::stream {

/// Bytes that wait for their use, in a temporary file that has no name: nothing of them is left, however the
/// process ends. What fits into the one buffer never reaches the disk.
/// Every error is a StreamError (`inputOutput`) that names the directory.
class ScratchFile {
public:
    /// Makes the file in `directory`; `system` must outlive this.
    ScratchFile(const std::string& directory, System& system);

    void append(std::string_view bytes);
    std::uint64_t size() const noexcept { return written_ + buffered_; }

    /// Reads up to `size` bytes, at least one of those that were appended: `offset` must be below size(). Returns
    /// how many.
    std::size_t read(std::uint64_t offset, char* buffer, std::size_t size) const;

    /// Returns the space of all bytes before `offset` to the file system, which must not be read any more. Does
    /// nothing where files cannot have holes.
    void discardBefore(std::uint64_t offset);

private:
    void writeOut(std::string_view bytes);

    std::string name_;  ///< of the directory
    System& system_;
    Descriptor directory_;
    TemporaryFile file_;
    std::vector<char> buffer_;  ///< the last bytes, which the file does not have yet
    std::size_t buffered_ = 0;
    std::uint64_t written_ = 0;
    std::uint64_t discarded_ = 0;
};

}  // namespace bex::stream

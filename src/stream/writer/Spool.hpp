#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "bex/stream/Sink.hpp"
#include "stream/ar/ArWriter.hpp"
#include "stream/system/ScratchFile.hpp"

namespace bex::stream {

/// Keeps the bytes of a member until their number is known. Memory: two buffers.
class Spool : public Sink {
public:
    /// Makes a temporary file in `directory`. `member` is for messages. Throws StreamError (`inputOutput`).
    Spool(const std::string& directory, std::string member, System& system,
          std::uint64_t mostBytes = kMostMemberBytes);

    /// Throws memberTooLarge() as soon as there are too many bytes, before they reach the disk.
    void write(const char* data, std::size_t size) override;

    std::uint64_t size() const noexcept { return file_.size(); }

    /// Hands over all bytes, piece by piece. May be called several times, before moveTo().
    void read(const std::function<void(std::string_view)>& consume) const;

    /// Hands over all bytes, piece by piece, and frees the space of each piece before it is handed over: whoever
    /// writes it elsewhere on the same file system needs no more room than the member itself. Call once.
    void moveTo(const std::function<void(std::string_view)>& consume);

private:
    std::string member_;
    std::uint64_t mostBytes_;
    ScratchFile file_;
};

}  // namespace bex::stream

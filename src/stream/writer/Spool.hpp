#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Sink.hpp"
#include "stream/ar/ArWriter.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Takes the bytes of a member until their number is known, in a file without a name: whatever happens, nothing
/// is left of it. Memory: one buffer.
class Spool : public Sink {
public:
    /// Opens the file in `folder`. `member` is for messages. Throws StreamError (`inputOutput`).
    Spool(const std::string& folder, std::string member, System& system,
          std::uint64_t mostBytes = kMostMemberBytes);

    /// Throws memberTooLarge() as soon as there are too many bytes, before they reach the disk.
    void write(const char* data, std::size_t size) override;

    std::uint64_t size() const noexcept { return size_; }

    /// Gives all bytes, piece by piece.
    void readBack(const std::function<void(std::string_view)>& consume);

private:
    void flush();
    void writeOut(const char* data, std::size_t size);

    std::string folder_;
    std::string member_;
    System& system_;
    std::uint64_t mostBytes_;
    Descriptor file_;
    std::vector<char> buffer_;
    std::size_t buffered_ = 0;
    std::uint64_t size_ = 0;
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Source.hpp"
#include "stream/system/FileSource.hpp"

namespace bex::stream {

/// A place in a source.
struct SourceOffset {
    std::shared_ptr<Source> source;
    std::uint64_t offset = 0;
};

/// Bytes that are read forward. Used by one thread at a time.
class ByteStream {
public:
    virtual ~ByteStream() = default;

    /// Reads up to `size` bytes and returns their number, which is 0 only where `size` is 0 or the end is reached.
    /// Throws StreamError (`inputOutput`).
    virtual std::size_t read(char* buffer, std::size_t size) = 0;

    /// Skips up to `size` bytes and returns how many there were. A stream of a Source does not read them.
    virtual std::uint64_t skip(std::uint64_t size) = 0;

    /// Where the next byte is, if other threads may read it and what follows at any time: not where bytes come in
    /// one order only, or are far away.
    virtual std::optional<SourceOffset> origin() const { return std::nullopt; }
};

/// Reads until `size` bytes are there or the stream ends, and returns how many there are.
std::size_t readFully(ByteStream& stream, char* buffer, std::size_t size);

/// The bytes of the source from `offset` on.
std::unique_ptr<ByteStream> streamOf(std::shared_ptr<Source> source, std::uint64_t offset = 0);

/// An open input, read by offset where that is possible.
struct OpenInput {
    std::shared_ptr<Source> source;      ///< null where the input can only be read forward, once, as a pipe
    std::unique_ptr<ByteStream> stream;  ///< all of it
};

OpenInput openInput(std::shared_ptr<Source> source);
OpenInput openInput(std::unique_ptr<ForwardSource> source);

/// A regular file is read by offset, anything else forward from its position on. `name` is for messages; `system`
/// must outlive the input. Throws StreamError (`inputOutput`).
OpenInput openInput(OpenFile file, const std::string& name, System& system);
/// Opens the path, as openForReading() does.
OpenInput openInput(const std::string& path, System& system);

}  // namespace bex::stream

#pragma once

#include <sys/stat.h>

#include <string>

#include "bex/stream/Source.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

/// An open file: the caller's, or owned.
struct OpenFile {
    int number = -1;
    Descriptor owner;  ///< empty for the caller's
};

/// Opens the path for reading. Throws StreamError (`inputOutput`).
OpenFile openForReading(const std::string& path, System& system);

/// fstat(2). Throws StreamError (`inputOutput`).
struct stat statusOf(const OpenFile& file, const std::string& name, System& system);

/// Whether the file is a regular one, which can be read by offset. Throws StreamError (`inputOutput`) for a
/// directory and for what is not open.
bool isRegularFile(const OpenFile& file, const std::string& name, System& system);

/// Throws StreamError (`inputOutput`) for any other file: a FIFO or a terminal opens without an error, but has no
/// offsets to read at.
void requireRegularFile(const OpenFile& file, const std::string& name, System& system);

/// The bytes of a regular file within [offset, offset + length). `name` is for messages; `system` must outlive the
/// source.
class FileSource final : public Source {
public:
    FileSource(OpenFile file, std::string name, System& system, std::uint64_t offset = 0,
               std::uint64_t length = kToEnd)
        : file_(std::move(file)), name_(std::move(name)), system_(system), offset_(offset), length_(length) {}

    std::uint64_t size() override;
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override;

private:
    const OpenFile file_;
    const std::string name_;
    System& system_;
    const std::uint64_t offset_;
    const std::uint64_t length_;
};

}  // namespace bex::stream

#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "Target.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::fuzz {

/// A file with these bytes that has a path and never touches a disk.
class FileInMemory {
public:
    explicit FileInMemory(std::string_view bytes)
        : descriptor_(memfd_create("p.bex", MFD_CLOEXEC), stream::System::real()) {
        require(write(descriptor_.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "there is memory for the input");
    }

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_.get()); }

private:
    stream::Descriptor descriptor_;
};

}  // namespace bex::fuzz

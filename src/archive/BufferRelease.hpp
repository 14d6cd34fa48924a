#pragma once

#include "bex/Archive.hpp"

namespace bex {

/// Frees the bytes of an archive's in-memory records at the end of the block, unless keep() is called. Declare
/// it after the archive, whose destructor deletes the records.
class BufferRelease {
public:
    explicit BufferRelease(Archive& archive) : archive_(&archive) {}
    ~BufferRelease() {
        if (archive_ != nullptr) {
            archive_->releaseBuffers();
        }
    }

    BufferRelease(const BufferRelease&) = delete;
    BufferRelease& operator=(const BufferRelease&) = delete;

    void keep() { archive_ = nullptr; }

private:
    Archive* archive_;
};

}  // namespace bex

#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "stream/codec/Buffer.hpp"

namespace bex::stream {

/// Buffers that several threads may keep, used again when the last of them lets go: memory that was touched before
/// is cheaper than fresh one. May be used by several threads.
class BufferStore {
public:
    std::shared_ptr<Buffer> take() {
        std::unique_ptr<Buffer> buffer = free_->take();
        // The list lives as long as the last buffer.
        return {buffer.release(), [free = free_](Buffer* done) { free->giveBack(done); }};
    }

private:
    class FreeList {
    public:
        std::unique_ptr<Buffer> take() {
            const std::lock_guard lock(mutex_);
            if (buffers_.empty()) {
                buffers_.reserve(++made_);  // now: giving back must not fail
                return std::make_unique<Buffer>();
            }
            std::unique_ptr<Buffer> buffer = std::move(buffers_.back());
            buffers_.pop_back();
            return buffer;
        }

        void giveBack(Buffer* done) noexcept {
            std::unique_ptr<Buffer> buffer(done);
            const std::lock_guard lock(mutex_);
            buffers_.push_back(std::move(buffer));
        }

    private:
        std::mutex mutex_;
        std::vector<std::unique_ptr<Buffer>> buffers_;
        std::size_t made_ = 0;
    };

    const std::shared_ptr<FreeList> free_ = std::make_shared<FreeList>();
};

}  // namespace bex::stream

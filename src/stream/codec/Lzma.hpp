#pragma once

#include <lzma.h>

namespace bex::stream {

/// Owns a coder of liblzma, with its memory and threads.
class LzmaStream {
public:
    LzmaStream() = default;
    ~LzmaStream() { lzma_end(&stream_); }
    LzmaStream(const LzmaStream&) = delete;
    LzmaStream& operator=(const LzmaStream&) = delete;

    lzma_stream* get() noexcept { return &stream_; }
    lzma_stream* operator->() noexcept { return &stream_; }

private:
    lzma_stream stream_ = LZMA_STREAM_INIT;
};

}  // namespace bex::stream

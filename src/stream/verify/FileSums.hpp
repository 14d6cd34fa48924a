#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/KeptBytes.hpp"
#include "stream/control/Md5Lanes.hpp"
#include "stream/control/OrderedSum.hpp"

namespace bex::stream {

/// MD5 sums of files whose contents come one after the other, made by threads of its own. Contents are gathered in
/// batches, so that many small files are one job, and the parts of a large one are summed in order by whoever has
/// the next. Memory: what KeptBytes of 1 MiB take for each batch, two batches for each thread.
class FileSums {
public:
    /// Gets the sum of each file, in order. What it throws comes out of the call that it was made in.
    using Taker = std::function<void(std::string_view digest)>;

    /// `threads`: what all of the reading may use. With one the calls do the work.
    FileSums(unsigned threads, Taker take);

    /// The next bytes of the current file. May call `take` for earlier files.
    void add(Piece piece);
    /// The current file is whole; what is added next is another's. May call `take`.
    void endFile();
    /// Calls `take` for every file that is whole.
    void finish();

private:
    /// Enough for many files side by side.
    static constexpr std::size_t kBatchBytes = std::size_t{1} << 20;

    /// What a batch has of one file.
    struct Part {
        KeptBytes::Part contents;
        std::size_t size = 0;
        std::uint64_t offset = 0;           // in the file
        std::shared_ptr<OrderedSum> whole;  // null where all of the file is in this batch
        bool last = false;
        Md5::HexDigest digest = {};  // of a file whose last part this is
    };
    struct Batch {
        std::uint64_t number = 0;
        KeptBytes bytes{kBatchBytes};
        std::vector<Part> parts;
    };

    static std::function<void(Batch&)> makeWork();
    static void sumUp(Batch& batch, Md5Lanes& lanes);
    static void addPart(const Batch& batch, Part& part);
    Batch& batch();
    Part& part();
    void submit();
    void takeOldest();

    const Taker take_;
    std::uint64_t submitted_ = 0;  // batches
    std::size_t taken_ = 0;        // parts of the oldest batch
    bool filling_ = false;         // the pool's next batch has parts
    // Of the current file; offset_ is 0 and whole_ null while it may still lie in one batch.
    bool begun_ = false;  // its part in the batch is the last one there
    std::uint64_t offset_ = 0;
    std::shared_ptr<OrderedSum> whole_;
    WorkPool<Batch> pool_;
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "bex/stream/Sink.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/index/IndexBuilder.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/PayloadBlock.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

/// Writes the payload of a plan as a compressed tar archive, in one pass over the contents. The blocks of the tar
/// stream are made by as many threads as the compression has; this thread puts them in order. The bytes do not
/// depend on the threads, nor does the error that is thrown: the first in the payload's order.
class PayloadWriter {
public:
    /// All must outlive this.
    PayloadWriter(const Plan& plan, const Collection& collection, System& system, ProgressMeter& meter)
        : plan_(plan), collection_(collection), system_(system), meter_(meter) {}

    /// Writes the archive to `out`, perhaps without its last bytes; of the options, md5sums and index count. The
    /// sums are made when this returns. Throws as PackageWriter::write(). Call once.
    /// Memory: two blocks for each thread, beside what CompressingSink says.
    void write(Sink& out, const CompressionSettings& settings, const WriteOptions& options);

    /// Writes what is missing: a stream's compressor still has bytes. Throws as write(). Call once.
    void finish();

    /// The length of the archive before it was compressed.
    std::uint64_t tarBytes() const noexcept { return tarBytes_; }

    /// Bytes of the index, as stored and as Limits::indexBytes counts them; 0 where there is none.
    std::uint64_t indexBytes() const noexcept { return indexBytes_; }
    std::uint64_t unpackedIndexBytes() const noexcept { return unpackedIndexBytes_; }

    /// The control member "md5sums", deb-md5sums(5), when it was asked for: one line for every name of a regular
    /// file, but for conffiles, which are there to be changed.
    std::string takeMd5sums() noexcept { return std::move(md5sums_); }

private:
    using Deliver = std::function<void(const PayloadBlock&)>;
    using Work = std::function<void(PayloadBlock&)>;

    Work makeWork(const CompressionSettings& settings) const;
    void writeBlocks(const CompressionSettings& settings, const Deliver& deliver);
    void take(const PayloadBlock& block);
    void addToIndex(const PayloadBlock& block);
    void writeIndex(Sink& out);
    void addSum(const PayloadBlock::Sum& sum);

    const Plan& plan_;
    const Collection& collection_;
    System& system_;
    ProgressMeter& meter_;
    bool wantsSums_ = false;
    std::uint64_t tarBytes_ = 0;
    std::unique_ptr<CompressingSink> stream_;  ///< null for a payload that is made of blocks
    std::unique_ptr<IndexBuilder> index_;      ///< null where none is wanted
    std::size_t indexedEntries_ = 0;
    std::uint64_t indexedBytes_ = 0;  ///< of the archive: where the next entry begins
    std::uint64_t indexBytes_ = 0;
    std::uint64_t unpackedIndexBytes_ = 0;
    std::string md5sums_;
    std::map<std::size_t, std::string> linkedDigests_;  ///< of files with further names
};

}  // namespace bex::stream

#pragma once

#include <memory>
#include <optional>

#include "stream/base/ProgressMeter.hpp"
#include "stream/codec/BoundedDecompressor.hpp"
#include "stream/reader/EntryPolicy.hpp"
#include "stream/tar/TarReader.hpp"

namespace bex::stream {

/// How an archive inside the package is read.
struct EntryReaderSettings {
    Limits limits;
    unsigned threads = 1;  ///< 0: one for each processor
    bool strict = false;   ///< as in DecompressionSettings
    ByteLimit bytesLimit;  ///< on what may come out of it
};

/// The entries of one tar archive of the package, unpacked, bounded and judged.
class EntryReader {
public:
    using Run = TarReader::Run;

    /// `contents` are the member's, as stored; it must outlive this.
    EntryReader(Source& contents, Compression compression, const EntryReaderSettings& settings,
                const Place& place);

    /// Goes to the next entry that the policy takes; false behind the last, when all checksums have been found
    /// right. What the policy refuses goes to the place; where they do not throw, the entry is given all the
    /// same.
    bool next(Entry& entry);

    /// Raises the limit of what may come out of the archive.
    void allow(std::uint64_t bytes) noexcept { bytes_.allow(bytes); }

    /// As TarReader::nextRun().
    bool nextRun(Run& run) { return tar_.nextRun(run); }

private:
    BoundedDecompressor bytes_;
    TarReader tar_;
    EntryPolicy policy_;
};

}  // namespace bex::stream

#include "stream/reader/EntryReader.hpp"

#include "stream/base/WorkPool.hpp"

namespace bex::stream {
namespace {

std::unique_ptr<Decompressor> unpack(Source& contents, Compression compression,
                                     const EntryReaderSettings& settings, const Place& place) {
    DecompressionSettings decompression;
    decompression.limits = settings.limits;
    decompression.threads = threadCount(settings.threads);
    decompression.strict = settings.strict;
    return openDecompressor(contents, compression, place, decompression);
}

}  // namespace

EntryReader::EntryReader(Source& contents, Compression compression, const EntryReaderSettings& settings,
                         const Place& place)
    : bytes_(unpack(contents, compression, settings, place), settings.bytesLimit, place),
      tar_(bytes_, settings.limits, place),
      policy_(settings.limits, place) {}

bool EntryReader::next(Entry& entry) {
    if (!tar_.next(entry)) {
        return false;
    }
    // guard: holes count
    if (entry.sparse) {
        bytes_.count(entry.size);  // its holes come from nowhere; what is stored is counted twice
    }
    policy_.check(entry);
    return true;
}

}  // namespace bex::stream

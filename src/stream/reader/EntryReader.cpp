#include "stream/reader/EntryReader.hpp"

#include <memory>

#include "stream/base/WorkPool.hpp"

namespace bex::stream {

namespace {

std::unique_ptr<Decompressor> unpack(ByteStream& contents, Compression compression,
                                     const EntryReaderSettings& settings, const Place& place) {
    DecompressionSettings decompression;
    decompression.limits = settings.limits;
    decompression.threads = threadCount(settings.threads);
    decompression.strict = settings.strict;
    return openDecompressor(contents, compression, place, decompression);
}

}  // namespace

EntryReader::EntryReader(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
                         const Place& place)
    : bytes_(unpack(contents, compression, settings, place), settings.bytesLimit, place),
      tar_(bytes_, settings.limits, place),
      policy_(settings.limits, place) {}

void copyTar(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
             const Place& place, Sink& out) {
    BoundedDecompressor bytes(unpack(contents, compression, settings, place), settings.bytesLimit, place);
    for (std::string_view chunk = bytes.next(); !chunk.empty(); chunk = bytes.next()) {
        out.write(chunk.data(), chunk.size());
    }
}

bool EntryReader::next(Entry& entry) {
    if (!tar_.next(entry)) {
        return false;
    }
    policy_.check(entry);
    return true;
}

}  // namespace bex::stream

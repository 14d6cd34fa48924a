#include "repo/publish/PackedIndex.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "repo/files/Compressed.hpp"
#include "stream/base/StringSink.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/codec/Gzip.hpp"

namespace bex::repo {

namespace {

using stream::Compression;

// Up to here, what a compressor with threads needs to begin takes longer than the work.
constexpr std::size_t kOneFrameBytes = std::size_t{4} << 20;

/// A gzip member of the file before, and the bytes of the text that it unpacks to.
struct Member {
    std::string_view packed;
    std::string_view text;
};

using Members = std::map<const char*, Member, std::less<>>;  // by the beginning of their text

/// The bytes of a member that begins here and says how long it is (stream/codec/Gzip.hpp); 0 for any other.
std::size_t sizeOfMember(std::string_view gzip) {
    if (gzip.size() < stream::kBlockHeaderBytes + stream::kGzipTrailerBytes) {
        return 0;
    }
    std::uint32_t size = 0;
    for (std::size_t i = 0; i < sizeof size; ++i) {
        const auto byte = static_cast<unsigned char>(gzip[stream::kBlockHeaderBytes - sizeof size + i]);
        size |= std::uint32_t{byte} << (8 * i);
    }
    const auto header = stream::blockHeader(size);
    const bool isBlock = std::equal(header.begin(), header.end(), gzip.begin(),
                                    [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); });
    if (!isBlock || size > gzip.size() || size < stream::kBlockHeaderBytes + stream::kGzipTrailerBytes) {
        return 0;
    }
    return size;
}

/// The members of the file before. It ends where a member does not say its length, or unpacks to more than the
/// text has: another program's file is simply compressed anew.
Members membersOf(const IndexBefore& before) {
    Members members;
    std::string_view gzip = before.gzip;
    std::string_view text = before.text;
    while (const std::size_t size = sizeOfMember(gzip)) {
        const auto trailer = stream::decodeTrailer(gzip.data() + size - stream::kGzipTrailerBytes);
        if (trailer.size == 0 || trailer.size > text.size()) {
            break;
        }
        members[text.data()] = {gzip.substr(0, size), text.substr(0, trailer.size)};
        gzip.remove_prefix(size);
        text.remove_prefix(trailer.size);
    }
    return members;
}

/// The member of the file before that has this block, or "". The checksum is compared, too: nothing else says that
/// text and file belong together.
std::string_view memberOf(const IndexText::Pieces& block, const Members& members) {
    const auto found = members.find(block.front().data());
    if (block.size() != 1 || found == members.end() || found->second.text.size() != block.front().size()) {
        return {};
    }
    const std::string_view packed = found->second.packed;
    const auto trailer = stream::decodeTrailer(packed.data() + packed.size() - stream::kGzipTrailerBytes);
    if (trailer.crc != libdeflate_crc32(0, block.front().data(), block.front().size())) {
        return {};
    }
    return packed;
}

std::string compressedBlock(const IndexText::Pieces& block) {
    const std::size_t bytes = sizeOf(block);
    // One member, but for a stanza that is longer than any member may be.
    return compressed([&block](stream::Sink& out) { write(block, out); }, Compression::gzip, 1,
                      std::min(bytes, stream::kMaximumBlockBytes));
}

std::string gzipOf(const IndexText& index, const IndexBefore& before, unsigned threads) {
    struct Job {
        const IndexText::Pieces* block = nullptr;
        std::string packed;
    };
    const Members members = membersOf(before);
    stream::WorkPool<Job> pool(threads, stream::jobsInFlight(threads), [&members] {
        return [&members](Job& job) {
            job.packed = memberOf(*job.block, members);
            if (job.packed.empty()) {
                job.packed = compressedBlock(*job.block);
            }
        };
    });
    std::string gzip;
    const auto take = [&] {
        gzip += pool.front().packed;
        pool.pop();
    };
    for (const IndexText::Pieces& block : index.blocks()) {
        if (pool.full()) {
            take();
        }
        pool.next().block = &block;
        pool.submit();
    }
    while (!pool.empty()) {
        take();
    }
    return gzip;
}

}  // namespace

std::string packed(const IndexText& index, Compression compression, const IndexBefore& before, unsigned threads) {
    if (compression == Compression::gzip && !index.blocks().empty()) {
        return gzipOf(index, before, threads);
    }
    if (compression == Compression::zstd && index.size() <= kOneFrameBytes) {
        stream::StringSink text;
        index.write(text);
        return zstdFrameOf(text.bytes);
    }
    return compressed([&](stream::Sink& out) { index.write(out); }, compression, threads);
}

}  // namespace bex::repo

#include "stream/reader/HeaderForecast.hpp"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/IndexedPayload.hpp"

namespace bex::stream {

namespace {

/// Beyond that, reading the index takes as long as it saves.
constexpr std::uint64_t kMostEntriesForEachBlock = 8;

class HeaderForecast final : public BlockForecast {
public:
    explicit HeaderForecast(const IndexedPayload& payload)
        : blockBytes_(payload.blockBytes()), wanted_(static_cast<std::size_t>(payload.blocks())) {
        std::uint64_t end = 0;
        payload.forEachRow([&](const IndexRow& row) {
            want(row.extent.begin, row.extent.contents);
            end = row.extent.end;
        });
        want(end, end + 1);  // the marks at the archive's end
    }

    bool isWanted(std::uint64_t begin, std::uint64_t end) const override {
        // The last byte, too: blocks of the stream may be longer than the index says.
        for (std::uint64_t block = begin / blockBytes_; block * blockBytes_ < end; ++block) {
            if (block >= wanted_.size() || wanted_[static_cast<std::size_t>(block)]) {
                return true;
            }
        }
        return false;
    }

private:
    void want(std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t block = begin / blockBytes_; block * blockBytes_ < end && block < wanted_.size();
             ++block) {
            wanted_[static_cast<std::size_t>(block)] = true;
        }
    }

    std::uint64_t blockBytes_;
    std::vector<bool> wanted_;  // by number of the block
};

}  // namespace

std::unique_ptr<BlockForecast> forecastHeaders(std::shared_ptr<Source> source, const Member& member,
                                               const Limits& limits) {
    try {
        const IndexedPayload payload(std::move(source), member, Place(member.name), limits);
        if (payload.size() / kMostEntriesForEachBlock > payload.blocks()) {
            return nullptr;
        }
        return std::make_unique<HeaderForecast>(payload);
    } catch (const StreamError&) {
        return nullptr;  // meant: whoever reads the whole payload compares the index, and tells what is wrong
    }
}

}  // namespace bex::stream

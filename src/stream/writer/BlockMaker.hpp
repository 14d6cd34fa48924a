#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "stream/control/Md5Lanes.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/PayloadBlock.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

/// Makes blocks of the payload that a PayloadCursor has described, any of them at any time: writes the headers,
/// reads the files, or parts of files, that fall into one, and sums them. Used by one thread at a time; every
/// thread has its own.
class BlockMaker {
public:
    /// All must outlive this.
    BlockMaker(const Plan& plan, const Collection& collection, System& system)
        : plan_(plan), reader_(collection, system) {}

    /// Fills the block's input and its sums. Throws what is wrong with the first entry in the block that cannot be
    /// read, or `cancelled` after a failure in an earlier block.
    void make(PayloadBlock& block);

private:
    /// A file that lies in this block alone.
    struct WholeFile {
        std::size_t index;  ///< in the plan
        std::size_t sum;    ///< in the block
        std::string_view contents;
        ChangeTimes times;
    };

    void addEntries(PayloadBlock& block);
    void addFile(std::size_t index, const EntryExtent& extent, PayloadBlock& block);
    void addFurtherName(std::size_t index, PayloadBlock& block);
    ChangeTimes read(const SourceEntry& file, const PayloadBlock::Part& part);
    void sumWholeFiles(PayloadBlock& block);
    void requireSame(std::size_t index, const Md5::HexDigest& digest, const ChangeTimes& times);

    const Plan& plan_;
    FileReader reader_;
    std::vector<WholeFile> whole_;  ///< of the current block
    Md5Lanes lanes_;
};

}  // namespace bex::stream

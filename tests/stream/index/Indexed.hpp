#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/IndexedPackage.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/index/IndexGroup.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {

/// Options for payloads in blocks of 4 KiB.
stream::WriteOptions blockOptions();

/// What the file "large" of indexedPackage() holds.
std::string largeContents();

/// A package with some hundred files in a directory "d", a file "large" of several blocks, a symlink "soft" and a
/// hard link "hard", with an index. `salt` is part of all other files' contents.
std::string indexedPackage(const stream::WriteOptions& options = blockOptions(), const std::string& salt = "salt");

/// A package with that payload, as it is, in blocks of 4 KiB, with an index.
std::string withIndex(const std::string& payloadEntries);

/// The package in memory, which must stay where it is.
stream::IndexedPackage opened(const std::string& bytes, const stream::ReadOptions& options = {});

/// What listingOf() gives, by the index.
std::string indexedListingOf(const std::string& bytes, const stream::ReadOptions& options = {});

/// The data member of a package, and a package with another one.
std::string dataOf(const std::string& package);
std::string withData(const std::string& data);

/// What an index says besides its entries.
struct IndexFacts {
    stream::IndexFooter footer;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> blocks;  ///< stored and unpacked bytes
};
IndexFacts factsOf(const std::string& data);
/// The index in a data member, or in a chain alone.
std::string indexOf(const std::string& data);

/// A package whose index is made anew from what `change` makes of it.
using Change = std::function<void(std::vector<stream::IndexRow>&, IndexFacts&)>;
std::string lying(const std::string& package, const Change& change);

/// A gzip member as the writer makes one for a block.
std::string blockOf(const std::string& bytes);

/// The stored form of an index whose directory says these numbers and ends after the blocks' lengths.
std::string directoryOnly(const IndexFacts& facts, std::uint64_t entries);

}  // namespace bex::test

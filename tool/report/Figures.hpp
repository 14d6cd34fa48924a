#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/PackageReader.hpp"

namespace bex::tool {

/// An entry of the payload.
struct EntryFigures {
    std::string path;  ///< in plainPath() form, not escaped
    stream::EntryType type = stream::EntryType::file;
    std::uint64_t size = 0;
    /// Its part of the compressed payload, as PayloadShares finds it.
    std::uint64_t packed = 0;
};

/// All entries of a kind, such as "ELF programs and libraries".
struct KindFigures {
    std::uint64_t entries = 0;
    std::uint64_t size = 0;
    std::uint64_t packed = 0;
};

/// What a page about a package says. Some 100 bytes and the path are kept for each entry.
struct PackageFigures {
    std::string name;  ///< of the package, as messages name it
    std::uint64_t packageBytes = 0;
    stream::ControlParagraph control;
    std::vector<stream::Member> members;
    std::vector<stream::Entry> controlEntries;
    std::vector<EntryFigures> entries;         ///< in the package's order
    std::map<std::string, KindFigures> kinds;  ///< by name
    std::uint64_t size = 0;                    ///< of all contents
    std::uint64_t packed = 0;                  ///< the data member
    std::vector<stream::Finding> findings;     ///< filled by the caller
};

/// A source of which the position is known.
class CountedSource final : public stream::ForwardSource {
public:
    /// `position` gets the number of bytes that were read; it must outlive this.
    CountedSource(std::unique_ptr<stream::ForwardSource> inner, std::uint64_t& position)
        : inner_(std::move(inner)), position_(position) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = inner_->read(buffer, size);
        position_ += count;
        return count;
    }

private:
    const std::unique_ptr<stream::ForwardSource> inner_;
    std::uint64_t& position_;
};

/// Reads the package once, from front to back. `options` are changed to one thread, so that what was read of the
/// package belongs to what came out of it. Throws as stream::PackageReader.
PackageFigures figuresOf(std::unique_ptr<stream::ForwardSource> source, const std::string& name,
                         stream::ReadOptions options);

}  // namespace bex::tool

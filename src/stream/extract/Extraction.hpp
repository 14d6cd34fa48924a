#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "bex/stream/PackageReader.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Makes entries below a directory, each resolved from the opened directory, one component at a time, without
/// following a symlink. What stands under a name and is no directory is replaced; a file appears whole or not
/// at all, and a file that was there stays until the new one is whole.
///
/// Whether an entry is allowed at all (its path, its type, doubled paths) is decided before it comes here; what
/// only the disk can tell (a symlink on the way, a hard link's target that is no regular file made by this
/// extraction) is refused here with StreamError (`refused`).
class Extraction {
public:
    /// Opens the destination, made when it does not exist. `package` begins the messages.
    Extraction(const std::string& destination, const std::string& package, const ExtractOptions& options,
               System& system);
    /// Removes the file that was begun and not ended.
    ~Extraction();

    /// Makes the entry under `path` (relative, plain, no ".."); `path` is entry.path with components stripped.
    /// A regular file stays open for write() until end(). `linkPath` is the hard link's target, treated like
    /// `path`.
    void begin(const Entry& entry, const std::string& path, const std::string& linkPath);
    void write(const char* data, std::size_t size);
    /// Leaves a hole of `size` bytes.
    void skip(std::uint64_t size);
    /// Mode, owner and time of the entry that was begun; puts a regular file under its name.
    void end();

    /// Modes and times of the directories. Call once, last.
    void finish();

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream

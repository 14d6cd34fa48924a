#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "stream/base/Place.hpp"
#include "stream/control/Md5sums.hpp"

namespace bex::stream {

/// The control member "md5sums" (deb-md5sums(5)) held against the payload. Memory grows by 40 bytes for each of
/// its lines, and with the files that it does not list or has wrong.
class Digests {
public:
    /// `control` and `payload` report place of the list and of the entries. Reports paths that are there twice.
    /// The text that `sums` are views of must outlive this.
    Digests(const std::vector<Md5sum>& sums, Place control, Place payload);

    /// Tells of a file of the payload. `path` is its path in plainPath() form; `listedElsewhere`: it need not be
    /// in the list.
    void takeFile(const Entry& entry, const std::string& path, const std::string& digest, bool listedElsewhere);
    /// The same for a hard link; `target` is an earlier file's path in plainPath() form.
    void takeHardLink(const Entry& entry, const std::string& path, const std::string& target,
                      bool listedElsewhere);
    /// Reports what is listed and was not told of. Call once, last.
    void finish() const;

private:
    struct Listed {
        std::string_view path;  ///< in plainPath() form
        std::string_view digest;
        bool seen = false;
    };

    void list(const Md5sum& sum);
    Listed* find(std::string_view path);

    std::vector<Listed> listed_;                 // sorted by path
    std::deque<std::string> respelled_;          // paths that do not stand in the text in plainPath() form
    std::map<std::string, std::string> others_;  // actual digests of files that md5sums lacks or has wrong
    Place control_;
    Place payload_;
};

}  // namespace bex::stream

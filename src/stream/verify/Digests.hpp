#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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

    /// A file or hard link of the payload.
    struct Name {
        std::string entry;             ///< its path as stored
        std::string path;              ///< in plainPath() form
        bool listedElsewhere = false;  ///< it need not be in the list
    };

    /// Tells of a file of the payload and its sum.
    void takeFile(const Name& file, std::string_view digest);
    /// Tells of a hard link; `target` is an earlier file's path in plainPath() form.
    void takeHardLink(const Name& link, const std::string& target);
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
    std::size_t next_ = 0;                       // in listed_, behind what was found last
    std::deque<std::string> respelled_;          // paths that do not stand in the text in plainPath() form
    std::map<std::string, std::string> others_;  // actual digests of files that md5sums lacks or has wrong
    Place control_;
    Place payload_;
};

}  // namespace bex::stream

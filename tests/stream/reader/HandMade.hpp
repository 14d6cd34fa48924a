#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Limits.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"

namespace bex::test {

/// The fields of a tar header, as text that is put into them as it stands.
struct TarFields {
    std::string name;
    char type = '0';
    std::string link;
    std::string size;  ///< "": that of the contents
    std::string mode = "0000644";
    std::string uid = "0000000";
    std::string gid = "0000000";
    std::string mtime = "07346545000";  ///< 2001-09-09 01:46:40 UTC
    std::string magic = {
        "ustar\0"
        "00",
        8};
    std::string prefix;
    std::string checksum;  ///< "": the right one
    std::string tail;      ///< bytes from offset 386: GNU's sparse map
};

/// A header and padded contents.
std::string tarEntry(const TarFields& fields, std::string_view contents = {});
std::string tarFile(const std::string& name, std::string_view contents = {});
std::string tarFolder(const std::string& name);
/// A symlink ('2') or hard link ('1').
std::string tarLink(const std::string& name, const std::string& target, char type);
/// A pax header with one record for each pair, followed by `entry`.
std::string withPax(const std::vector<std::pair<std::string, std::string>>& records, const std::string& entry);
/// A GNU header of type 'L' or 'K', followed by `entry`.
std::string withLongName(char type, const std::string& text, const std::string& entry);
/// The entries and two blocks of zeros.
std::string tarOf(const std::string& entries);

std::string gzipOf(const std::string& bytes);
std::string bzip2Of(const std::string& bytes);
/// One gzip, zstd or xz stream as the library writes it, in blocks of `blockBytes`.
std::string packed(const std::string& bytes, stream::Compression compression, std::size_t blockBytes = 4096);

/// A member with header and padding; `size` replaces what the header says of it.
std::string arMember(const std::string& name, const std::string& contents, const std::string& size = {});
std::string arOf(const std::string& members);

extern const std::string kControlText;
/// "debian-binary" and a control.tar.gz with kControlText and the tar entries given.
std::string headOf(const std::string& controlEntries = {});
/// A package with that payload, in a data.tar.gz.
std::string packageOf(const std::string& payloadEntries, const std::string& controlEntries = {});
/// A sound package with a file, a folder, a symlink and a hard link.
std::string soundPackage();

enum class Route { file, pipe };

/// Opens the package on the route and hands it to `use`; gives "" or the message of the failure. Messages call
/// the package "p.bex". What `use` lets pass ends up in the message, too.
std::string reading(const std::string& bytes, Route route, const std::function<void(stream::PackageReader&)>& use,
                    const stream::ReadOptions& options = {});

/// What a reader tells of every entry and its contents, a line for each; or the message of the failure.
std::string listingOf(const std::string& bytes, Route route = Route::file,
                      const stream::ReadOptions& options = {});

/// The findings of verify(), a line for each: "code|member|path|text". Throws for a code that docs/findings.md
/// does not list.
std::vector<std::string> findingsOf(const std::string& bytes, const stream::ReadOptions& options = {});

}  // namespace bex::test

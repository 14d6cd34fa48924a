#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Archives.hpp"
#include "bex/stream/Limits.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::test {

std::string tarFolder(const std::string& name);
/// A symlink ('2') or hard link ('1').
std::string tarLink(const std::string& name, const std::string& target, char type);
/// A GNU header of type 'L' or 'K', followed by `entry`.
std::string withLongName(char type, const std::string& text, const std::string& entry);
std::string gzipOf(const std::string& bytes);
std::string bzip2Of(const std::string& bytes);
/// One gzip, zstd or xz stream as the library writes it, in blocks of `blockBytes`.
std::string packed(const std::string& bytes, stream::Compression compression, std::size_t blockBytes = 4096);

std::string arOf(const std::string& members);

extern const std::string kControlText;
/// "debian-binary" and a control.tar.gz with kControlText and the tar entries given.
std::string headOf(const std::string& controlEntries = {});
/// A package with that payload, in a data.tar.gz.
std::string packageOf(const std::string& payloadEntries, const std::string& controlEntries = {});
/// A sound package with a file, a folder, a symlink and a hard link.
std::string soundPackage();

/// The reading end of a pipe that holds the bytes, and then ends. Test packages are small enough.
stream::Descriptor pipeOf(const std::string& bytes);

enum class Route { file, pipe };

/// Opens the package on the route and hands it to `use`; gives "" or the message of the failure. Messages call
/// the package "p.bex". What `use` lets pass ends up in the message, too.
std::string reading(const std::string& bytes, Route route, const std::function<void(stream::PackageReader&)>& use,
                    const stream::ReadOptions& options = {});

/// An entry and its contents in one line.
std::string listedLine(const stream::Entry& entry, const std::string& contents);

/// What a reader tells of every entry and its contents, a line for each; or the message of the failure.
std::string listingOf(const std::string& bytes, Route route = Route::file,
                      const stream::ReadOptions& options = {});

/// The codes that docs/findings.md lists, sorted.
std::vector<std::string> documentedCodes();

/// The findings of verify(), a line for each: "code|member|path|text". Throws for a code that docs/findings.md
/// does not list, or lists with another severity.
std::vector<std::string> findingsOf(const std::string& bytes, const stream::VerifyOptions& options = {});

}  // namespace bex::test

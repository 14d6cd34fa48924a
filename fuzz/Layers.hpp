#pragma once

#include <string>
#include <string_view>
#include <vector>

// The layers of a package taken apart and put together, whatever is wrong with them: what does not follow the
// format is left over, not refused.

namespace bex::fuzz {

/// The members of an ar file, each with its header and without its padding; what is not a member goes to `rest`.
std::vector<std::string> splitAr(std::string_view bytes, std::string& rest);
/// The same put together again, with sizes mended where `mend` says so.
std::string joinAr(const std::vector<std::string>& members, bool mend);
constexpr std::size_t kArHeaderBytes = 60;

/// What the gzip members unpack to, a text for each; what is not a member, or a bomb, goes to `rest`.
std::vector<std::string> splitGzip(std::string_view bytes, std::string& rest);
/// A gzip member; `withLength`: with its length in a subfield, `lie` more than it is.
std::string gzipMember(std::string_view bytes, bool withLength, unsigned lie = 0);
/// A gzip member for deflate data, with the trailer that belongs to it; empty where the data cannot be unpacked.
std::string gzipAround(std::string_view deflateData, bool withLength);

/// The headers of a tar archive, each with its contents; what is not a header, the end marks first, goes to
/// `rest`.
std::vector<std::string> splitTar(std::string_view bytes, std::string& rest);
constexpr std::size_t kTarHeaderBytes = 512;
/// A tar header and contents, with size and checksum mended.
std::string tarUnit(std::string header, std::string_view contents);
void mendChecksum(std::string& header);
/// Pax records with their lengths mended.
std::string joinPax(const std::vector<std::string>& records);
std::vector<std::string> splitPax(std::string_view bytes);

}  // namespace bex::fuzz

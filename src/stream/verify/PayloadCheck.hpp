#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "stream/control/Conffiles.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/verify/Digests.hpp"

namespace bex::stream {

/// How much of the payload is read.
enum class PayloadDepth {
    entries,  ///< the entries alone
    contents  ///< every byte, for md5sums and the checksums of the compression
};

/// Reads the payload and holds its entries against what the control archive says of them.
class PayloadCheck {
public:
    PayloadCheck(PackageStream& stream, Place place, PayloadDepth depth)
        : stream_(stream), place_(std::move(place)), depth_(depth) {}

    /// Before the payload is read: what "conffiles" and "md5sums" of the control archive list.
    void expectConffiles(std::string_view text, const Place& control);
    void expectDigests(const std::vector<Md5sum>& sums, const Place& control);

    /// Reads to the end. `onEntry`, where there is one, is told of every entry. Throws as PackageStream::next().
    void run(const std::function<void(const Entry&)>& onEntry);

private:
    void check(const Entry& entry);
    void checkForDpkg(const Entry& entry) const;
    void checkDigest(const Entry& entry, const std::string& path);
    std::string readAll(bool digest);

    PackageStream& stream_;
    Place place_;
    PayloadDepth depth_;
    std::optional<Conffiles> conffiles_;
    std::optional<Digests> digests_;
};

}  // namespace bex::stream

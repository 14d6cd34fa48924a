#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stream/control/Conffiles.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/verify/Digests.hpp"

namespace bex::stream {

/// Reads every byte of the payload and holds its entries against what the control archive says of them.
class PayloadCheck {
public:
    PayloadCheck(PackageStream& stream, Faults faults) : stream_(stream), faults_(std::move(faults)) {}

    /// Before the payload is read: what "conffiles" and "md5sums" of the control archive list.
    void expectConffiles(std::string_view text, const Faults& control);
    void expectDigests(const std::vector<Md5sum>& sums, const Faults& control);

    /// Reads to the end. Throws as PackageStream::next().
    void run();

private:
    void check(const Entry& entry);
    void checkDigest(const Entry& entry, const std::string& path);
    std::string readAll(const Entry& entry, bool digest);

    PackageStream& stream_;
    Faults faults_;
    std::optional<Conffiles> conffiles_;
    std::optional<Digests> digests_;
};

}  // namespace bex::stream

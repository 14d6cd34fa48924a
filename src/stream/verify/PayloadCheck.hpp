#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stream/control/Conffiles.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/verify/Digests.hpp"
#include "stream/verify/FileSums.hpp"

namespace bex::stream {

/// How much of the payload is read.
enum class PayloadDepth {
    entries,  ///< the entries alone
    contents  ///< every byte, for md5sums and the checksums of the compression
};

/// Reads the payload and holds its entries against what the control archive says of them. Other threads sum the
/// files; what is wrong is reported in the order of the entries all the same, because whatever else is to be
/// reported waits for the sums of the entries before it.
class PayloadCheck {
public:
    /// `place` has a handler, which reports this check's findings while this lives.
    PayloadCheck(PackageStream& stream, Place place, PayloadDepth depth);
    ~PayloadCheck() { place_.handler()->reportFirst(nullptr); }
    PayloadCheck(const PayloadCheck&) = delete;
    PayloadCheck& operator=(const PayloadCheck&) = delete;

    /// Before the payload is read: what "conffiles" and "md5sums" of the control archive list.
    void expectConffiles(std::string_view text, const Place& control);
    void expectDigests(const std::vector<Md5sum>& sums, const Place& control);

    /// Reads to the end. `onEntry`, where there is one, is told of every entry. Throws as PackageStream::next().
    void run(const std::function<void(const Entry&)>& onEntry);

private:
    /// A name whose sum is not known yet.
    struct Awaited {
        Digests::Name name;
        std::optional<std::string> target;  // of a hard link, in plainPath() form
    };

    void check(const Entry& entry);
    void checkForDpkg(const Entry& entry) const;
    void checkDigest(const Entry& entry);
    void readAll();
    void takeHardLink(Awaited link);
    void takeSum(std::string_view digest);
    void settle();

    PackageStream& stream_;
    Place place_;
    PayloadDepth depth_;
    std::optional<Conffiles> conffiles_;
    std::optional<Digests> digests_;
    std::deque<Awaited> awaited_;  // begins with a file; a hard link stands behind what it may link to
    bool taking_ = false;          // takeSum() is under way
    FileSums sums_;
};

}  // namespace bex::stream

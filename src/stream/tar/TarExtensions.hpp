#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "bex/stream/Limits.hpp"
#include "stream/tar/PaxRecords.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

/// The extension headers before an entry: GNU's long path ('L') and long link target ('K'), and pax records ('x'),
/// each at most once.
class TarExtensions {
public:
    static bool isExtension(char type) noexcept;

    /// Throws StreamError (`limitExceeded`) if the extension is larger than `nameBytes` or `extendedHeaderBytes`.
    static void checkSize(const TarHeader& header, const Limits& limits, const Place& place);

    bool empty() const noexcept { return !path_ && !link_ && !pax_; }
    bool hasPaxRecords() const noexcept { return pax_.has_value(); }
    bool isSparse() const noexcept { return pax_ && pax_->sparse; }

    /// Adds the header of that type with these contents. Throws StreamError if they are malformed or the type is
    /// there twice.
    void add(char type, std::string_view body, const Place& place);

    /// Puts what was added in the place of the header's own values. Throws StreamError if a path or target is
    /// there in both ways.
    void applyTo(TarHeader& header, const Place& place) const;

private:
    std::optional<std::string> path_;
    std::optional<std::string> link_;
    std::optional<PaxRecords> pax_;
};

}  // namespace bex::stream

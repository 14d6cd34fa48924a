#pragma once

#include <map>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

/// Compares a package that was just written with what it was made from. Every difference throws StreamError
/// (`damaged`) naming the entry.
class Comparison {
public:
    /// All must outlive this; nothing of `package` has been read.
    Comparison(PackageStream& package, const Plan& plan) : package_(package), plan_(plan) {}

    /// Compares structure and control archive; `files` are its members' contents by name. Call first.
    void compareControl(const std::map<std::string, std::string>& files);

    /// Compares every entry's attributes and every file's bytes, which are read from their sources once more.
    /// Throws what `sources` throws, too.
    void comparePayload(FileReader& sources, ProgressMeter& meter);

private:
    Place placeOf(const Entry& entry) const { return Place(package_.name()).at(entry.path); }
    void compareBytes(const Entry& entry, std::string_view piece);

    PackageStream& package_;
    const Plan& plan_;
    std::string_view read_;  ///< of the package's current entry, not yet compared
};

}  // namespace bex::stream

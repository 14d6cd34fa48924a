#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ExtractOptions.hpp"
#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

/// Entries to extract, one after the other.
class ExtractSource {
public:
    virtual ~ExtractSource() = default;

    virtual const std::string& name() const noexcept = 0;  ///< of the package, for messages
    virtual unsigned threads() const = 0;
    virtual bool next(Entry& entry) = 0;
    /// The current entry's path in plainPath() form.
    virtual const std::string& path() const noexcept = 0;
    /// Checks the current entry, as far as next() has not, before anything is made of it.
    virtual void check(const Entry& entry) = 0;
    /// The next bytes of the current entry; empty at their end.
    virtual Piece read() = 0;
    /// Throws StreamError (`refused`) about a hard link.
    [[noreturn]] virtual void refuseLink(const Entry& entry, const std::string& reason) const = 0;
};

/// Extracts the entries of the source below the directory, as PackageReader::extract() promises.
ExtractResult extractFrom(ExtractSource& source, const std::string& destination, const ExtractOptions& options,
                          System& system);

/// Extracts the entries that are left of the stream below the directory, as PackageReader::extract() promises.
ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system);

/// The same for control members, which are in memory. `package`, unescaped, begins the messages.
ExtractResult extractMembers(const std::vector<ControlMember>& members, const std::string& package,
                             const std::string& destination, const ExtractOptions& options, System& system);

}  // namespace bex::stream

#pragma once

#include <exception>
#include <memory>
#include <vector>

#include "stream/ar/ArReader.hpp"
#include "stream/reader/MemberOrder.hpp"

namespace bex::stream {

/// The members of a package in a descriptor. In a seekable file the headers of all are checked before any
/// contents are read; in a pipe they are checked as they are reached.
class PackageMembers {
public:
    /// The descriptor and the system must outlive this. `name` is the package's.
    PackageMembers(int descriptor, std::string name, System& system, Place place);
    ~PackageMembers();

    /// Checks the whole of a seekable file, jumping over contents; does nothing in a pipe.
    void check();

    /// The member of that role, `control` or `data`, and its contents; the contents are valid until this is
    /// called again. In a pipe roles have to be asked for in the order in which they stand.
    const Member& open(MemberRole role);
    Source& contents() { return *contents_; }

    /// Goes through what is left of a pipe.
    void finish();

    const std::vector<Member>& members() const noexcept { return members_; }

private:
    bool advance();
    bool readNext();
    void checkFormatVersion();
    const Member& openAgain(std::size_t index);

    int descriptor_;
    std::string name_;
    System& system_;
    Place place_;
    std::unique_ptr<Source> walked_;
    ArReader reader_;
    MemberOrder order_;
    bool seekable_;
    std::exception_ptr failure_;  // of the walk; there is nothing behind it
    std::vector<Member> members_;
    std::vector<MemberRole> roles_;  // beside members_
    std::unique_ptr<Source> again_;
    std::unique_ptr<MemberSource> window_;
    Source* contents_ = nullptr;
};

}  // namespace bex::stream

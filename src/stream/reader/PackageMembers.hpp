#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "stream/ar/ArReader.hpp"
#include "stream/base/FirstFailure.hpp"
#include "stream/reader/MemberOrder.hpp"

namespace bex::stream {

/// The members of a package. Where the input can be read by offset, the headers of all members are checked before
/// any contents are read; in a pipe each is checked when it is reached.
class PackageMembers {
public:
    PackageMembers(OpenInput input, Place place);

    /// Checks all headers of an input that can be read by offset, skipping contents; does nothing in a pipe. Where
    /// the control member is read next, the source is told so at its header.
    void check(bool controlFollows = true);

    /// Whether members can be opened more than once and in any order.
    bool seekable() const noexcept { return input_.source != nullptr; }

    /// The member that serves in that role; null where there is none, or a pipe has not come to it.
    const Member* find(MemberRole role) const noexcept;

    /// The member of that role, `control` or `data`, and its contents, which are valid until this is called again.
    /// In a pipe, roles must be asked for once each, in the order of the members.
    const Member& open(MemberRole role);
    ByteStream& contents() { return *contents_; }

    /// Says to the source that all of the member will be read, and as many bytes after it.
    void announce(const Member& member, std::size_t more = 0);

    /// Reads and checks what is left of a pipe.
    void finish();

    const std::vector<Member>& members() const noexcept { return members_; }

private:
    /// The next header. After a failure the reader's position is not known, and there is none.
    bool advance() {
        return failure_.guard([this] { return readNext(); });
    }
    bool readNext();
    void checkFormatVersion();

    OpenInput input_;
    Place place_;
    ArReader reader_;
    MemberOrder order_;
    bool announcesControl_ = false;
    FirstFailure failure_;  // of the walk, which has ended with it
    std::vector<Member> members_;
    std::vector<MemberRole> roles_;  // beside members_
    std::unique_ptr<ByteStream> again_;
    std::optional<MemberStream> window_;
    ByteStream* contents_ = nullptr;
};

}  // namespace bex::stream

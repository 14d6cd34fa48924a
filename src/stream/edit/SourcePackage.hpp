#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "bex/stream/EditOptions.hpp"
#include "stream/edit/Allowance.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/system/FileSource.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// The package that is changed: one open file, which must stay as it is.
class SourcePackage {
public:
    /// Opens the file and checks the structure. Throws StreamError, also for anything but a regular file. `system`
    /// must outlive this.
    SourcePackage(const std::string& path, const EditOptions& options, System& system);
    SourcePackage(const SourcePackage&) = delete;
    SourcePackage& operator=(const SourcePackage&) = delete;

    const std::string& path() const noexcept { return path_; }
    const EditOptions& options() const noexcept { return options_; }
    System& system() const noexcept { return system_; }
    int descriptor() const noexcept { return file_.number; }
    const struct stat& status() const noexcept { return status_; }

    const std::vector<Member>& members() const noexcept { return members_; }
    const Member& controlMember() const noexcept { return control_; }
    const Member& dataMember() const noexcept { return data_; }

    /// A new reading of this package, or of another open file, with the same options; structure is checked. What
    /// is wrong is refused unless it is allowed.
    std::unique_ptr<PackageStream> read() const;
    std::unique_ptr<PackageStream> read(int descriptor, const std::string& name, bool strict) const;
    /// The place of a member in the package of that name, for what the reading does not check by itself.
    Place place(const std::string& package, const Member& member) const;
    Place controlPlace() const { return place(path_, control_); }
    Place dataPlace() const { return place(path_, data_); }

    /// Whether the path leads to this file now.
    bool isAt(const std::string& path) const;
    /// Throws StreamError (`inputOutput`) if the file is no longer what it was when it was opened.
    void requireUnchanged() const;

private:
    const std::string path_;
    const EditOptions options_;
    System& system_;
    mutable Allowance allowance_;  // holds nothing of the package
    OpenFile file_;
    struct stat status_ = {};
    std::vector<Member> members_;
    Member control_;
    Member data_;
};

}  // namespace bex::stream

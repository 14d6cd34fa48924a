#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/TrailingMember.hpp"

namespace bex::buildfile {

/// A regular file or symlink of the package.
struct PackagedFile {
    std::string path;        ///< in the package, plain
    std::string source;      ///< of a file: where it is on this machine
    std::string linkTarget;  ///< of a symlink; "" for a file
};

/// Settings of a build file that are not part of the package.
struct Requests {
    std::optional<stream::Compression> compression;
    std::optional<int> level;          ///< of the compression
    std::optional<std::int64_t> time;  ///< for WriteOptions::commonTime
    std::string strip;                 ///< "none", "drop", "dbgsym", or "" if the file has none
    std::vector<std::string> notes;    ///< one sentence for each skipped part of the file
};

/// A description of a package in YAML: nfpm's format as its project documents it, for Debian packages, with keys
/// of our own. docs/build-file.md has all keys. Relative paths in it are relative to the current directory.
class BuildFile {
public:
    /// Returns the file to package instead of `source`; "" for `source` itself.
    using Substitute = std::function<std::string(const std::string& source)>;

    virtual ~BuildFile() = default;

    virtual const Requests& requests() const noexcept = 0;
    /// The regular files and symlinks that the package gets, in the order of their paths.
    virtual const std::vector<PackagedFile>& files() const noexcept = 0;

    /// Adds payload, conffiles and control members. Throws stream::StreamError.
    virtual void addTo(stream::PackageWriter& writer, const Substitute& substitute) const = 0;

    /// For WriteOptions::trailing: the package's signature, if the file asks for one. It is made by gpg(1), in a
    /// directory of its own that is removed afterwards, with the passphrase of the environment's
    /// NFPM_DEB_PASSPHRASE or NFPM_PASSPHRASE. The method dpkg-sig names a date: Requests::time or else the clock,
    /// but not later than SOURCE_DATE_EPOCH of the environment. Several packages may be written with the result.
    /// Writing then throws stream::StreamError, PATH:LINE:COLUMN of the key and the reason: `invalidInput` for a
    /// key that cannot be used, `inputOutput` with the code "signer" if gpg is missing, fails, or takes too long.
    virtual std::vector<stream::TrailingMember> trailingMembers() const = 0;
};

/// Reads the text of a build file, at most 16 MiB, and finds the files that it names; `path` is for messages.
/// Replaces variables of the environment by their values. Sets the fields of the file in `control`, but not those
/// that it has already. "auto" among `depends` becomes "${shlibs:Depends}". Cost: one walk of each named
/// directory. Throws stream::StreamError, PATH:LINE:COLUMN and the reason: `invalidInput` for errors of YAML,
/// unknown keys and wrong values, `inputOutput` for missing files.
BEX_EXPORT std::unique_ptr<BuildFile> readBuildFile(const std::string& path, const std::string& text,
                                                    stream::ControlParagraph& control);

/// The JSON schema of build files, for editors.
BEX_EXPORT std::string schema();

/// A commented build file for the directory, with what is found there and with examples of the rest.
/// Throws stream::StreamError (`inputOutput`) for a directory that cannot be read.
BEX_EXPORT std::string initialFile(const std::string& directory);

}  // namespace bex::buildfile

// The same under names that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" {
/// The caller deletes the object.
BEX_EXPORT bex::buildfile::BuildFile* bexReadBuildFile(const std::string& path, const std::string& text,
                                                       bex::stream::ControlParagraph& control);
BEX_EXPORT void bexBuildFileSchema(std::string& schema);
BEX_EXPORT void bexInitialBuildFile(const std::string& directory, std::string& text);
}

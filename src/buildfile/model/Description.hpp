#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "buildfile/yaml/Value.hpp"

namespace bex::buildfile {

/// A path on this machine, or in the package, and where the build file names it.
struct NamedPath {
    std::string path;
    Spot at;
};

/// What a line may say of an entry's attributes.
struct FileInfo {
    std::optional<std::uint32_t> mode;
    std::optional<std::int64_t> mtime;  ///< seconds since 1970
    std::string owner;                  ///< name or number; "" where it is not given
    std::string group;
};

enum class ContentType { file, symlink, directory, tree };

/// A line of `contents` that is for Debian packages.
struct Content {
    Spot at;
    NamedPath source;  ///< on this machine; of a symlink what it leads to; "" to refine what earlier lines brought
    std::string destination;
    ContentType type = ContentType::file;
    bool isConfig = false;  ///< its regular files are conffiles
    FileInfo info;
    std::vector<std::string> disowned;  ///< globs: directories of a tree that come without attributes of their own
};

struct Systemd {
    std::vector<NamedPath> units;      ///< files on this machine, or absolute paths in the package
    std::vector<NamedPath> userUnits;  ///< the same
    bool enable = true;
    bool start = true;
    bool restartOnUpgrade = true;
};

enum class SignatureMethod { debsign, dpkgSig };

/// How the package is signed.
struct SignatureRequest {
    SignatureMethod method = SignatureMethod::debsign;
    NamedPath keyFile;
    std::string keyId;   ///< hexadecimal digits, upper case; "" for the first key of the file that can sign
    std::string role;    ///< of the signer; the package's member is "_gpg" and this
    std::string signer;  ///< one line, for dpkg-sig; "" for the package's maintainer
};

/// What a build file says, for a Debian package, with the environment's values in it.
struct Description {
    std::string file;  ///< for messages
    stream::ControlParagraph control;
    std::vector<Content> contents;
    bool globbing = true;
    std::uint32_t umask = 0002;
    std::optional<std::int64_t> mtime;         ///< of what has none on disk, and of the control archive
    std::map<std::string, NamedPath> scripts;  ///< files by the control member's name
    std::string triggers;                      ///< the control member's text
    std::optional<stream::Compression> compression;
    std::optional<int> level;  ///< of the compression
    Systemd systemd;
    std::optional<NamedPath> sysusers;
    std::optional<NamedPath> tmpfiles;
    std::optional<NamedPath> changelog;
    std::optional<SignatureRequest> signature;
    std::string strip;                 ///< "none", "drop" or "dbgsym"; "" where it is not given
    std::vector<std::string> skipped;  ///< keys and lines of other formats, with their lines
    std::vector<std::string> notes;    ///< sentences for people
};

/// Throws StreamError (`invalidInput`): FILE:LINE:COLUMN and the reason.
Description readDescription(const std::string& text, const std::string& file);

}  // namespace bex::buildfile

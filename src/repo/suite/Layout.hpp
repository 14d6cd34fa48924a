#pragma once

#include <string>
#include <string_view>

#include "bex/stream/Compression.hpp"

namespace bex::repo {

/// Where the files of a repository are; paths begin with its root.
class Layout {
public:
    explicit Layout(std::string root) : root_(std::move(root)) {}

    const std::string& root() const noexcept { return root_; }
    std::string below(const std::string& path) const { return root_ + "/" + path; }

    std::string settings() const { return root_ + "/.bex/suites"; }
    std::string changes(const std::string& suite) const { return root_ + "/.bex/changes/" + suite; }
    std::string generations(const std::string& suite) const { return root_ + "/.bex/generations/" + suite; }
    std::string suite(const std::string& suite) const { return root_ + "/dists/" + suite; }

    // Below a suite's directory:

    /// "main/binary-amd64/Packages"
    static std::string packagesIndex(const std::string& component, const std::string& architecture) {
        return component + "/binary-" + architecture + "/Packages";
    }
    /// "main/Contents-amd64.gz"
    static std::string contentsIndex(const std::string& component, const std::string& architecture) {
        return component + "/Contents-" + architecture + ".gz";
    }
    /// "main/binary-amd64/by-hash/SHA256/DIGEST" for an index of that path.
    static std::string byHash(const std::string& index, const std::string& sha256) {
        return index.substr(0, index.rfind('/') + 1) + "by-hash/SHA256/" + sha256;
    }

private:
    std::string root_;
};

/// Whether the word can name a suite, a component or an architecture: letters, digits, and ".", "_", "~", "+", "-"
/// after the first.
bool isPlainWord(std::string_view word);

/// What decides where in the pool a package's file is.
struct PoolName {
    std::string component;
    std::string source;  ///< the name of the source package
    std::string package;
    std::string version;
    std::string architecture;
    std::string extension;  ///< that of the file that is added: ".deb"
};

/// The path of a package in the pool: "pool/main/libh/libhello/libhello1_1.0_amd64.deb", in the directory of its
/// source package, the version without its epoch. Throws StreamError (`refused`) for values that would lead out of
/// the pool; messages call the package `file`.
std::string poolPath(const PoolName& name, const std::string& file);

}  // namespace bex::repo

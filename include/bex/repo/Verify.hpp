#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bex/stream/Export.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Limits.hpp"

namespace bex::repo {

/// What of a repository is verified, and how it is read.
struct RepositoryCheck {
    std::string suite;     ///< "": all of a directory, "stable" of a repository elsewhere
    std::string keyring;   ///< keys for gpgv(1) to verify signatures with; "": they are not verified
    bool deep = false;     ///< verify() each package, too
    unsigned threads = 0;  ///< 0: one for each processor
    stream::Limits limits;

    /// Opens a file of a repository that is not a directory, such as one on a web server, by its path below the
    /// root. Throws StreamError where there is none. Several threads may call it at once.
    std::function<std::unique_ptr<stream::ForwardSource>(const std::string& path)> open;
};

/// Checks a repository as a client would meet it: Release file and signatures, every index by its name and by its
/// digest, every stanza against the package that it describes. `root` is its directory or, with
/// RepositoryCheck::open, its name in messages. Returns all findings, with the root as `package` and the file as
/// `entry`; docs/repository.md lists their codes. Packages are read one after the other by each thread, and not
/// kept. Throws StreamError only for what is not the repository's fault.
BEX_EXPORT std::vector<stream::Finding> verifyRepository(const std::string& root, const RepositoryCheck& check);

}  // namespace bex::repo

/// verifyRepository() under a name that dlsym(3) finds.
extern "C" BEX_EXPORT void bexVerifyRepository(const std::string& root, const bex::repo::RepositoryCheck& check,
                                               std::vector<bex::stream::Finding>& findings);

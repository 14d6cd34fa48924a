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

/// Which parts of a repository are verified, and how it is read.
struct RepositoryCheck {
    std::string suite;     ///< "": all suites of a directory; "stable" for a repository elsewhere
    std::string keyring;   ///< keys for gpgv(1) to verify signatures with; "": they are not verified
    bool deep = false;     ///< verify() each package, too
    unsigned threads = 0;  ///< 0: one for each processor
    stream::Limits limits;

    /// Opens a file of a repository that is not a directory, such as one on a web server, by its path below the
    /// root. Throws StreamError if there is none. Several threads may call it at once.
    std::function<std::unique_ptr<stream::ForwardSource>(const std::string& path)> open;
};

/// Checks a repository as a client would see it: Release file and signatures, every index by its name and by its
/// digest, every stanza against the package that it describes. `root` is its directory or, with
/// RepositoryCheck::open, its name in messages. Returns all findings, with the root as `package` and the file as
/// `entry`; docs/repository.md lists their codes. Each thread reads one package after the other and keeps none.
/// Throws StreamError only for failures that the repository did not cause.
BEX_EXPORT std::vector<stream::Finding> verifyRepository(const std::string& root, const RepositoryCheck& check);

}  // namespace bex::repo

/// verifyRepository() under a name that dlsym(3) finds.
extern "C" BEX_EXPORT void bexVerifyRepository(const std::string& root, const bex::repo::RepositoryCheck& check,
                                               std::vector<bex::stream::Finding>& findings);

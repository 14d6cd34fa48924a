#pragma once

#include "bex/repo/PackageRecord.hpp"
#include "repo/verify/FindingList.hpp"
#include "repo/verify/RepositoryFiles.hpp"

namespace bex::repo {

/// Compares a package's file with its stanza: size, digest, and every field of the control file. With `deep`, the
/// package is verified, too. Throws StreamError where the file can't be read.
void checkPackage(const RepositoryFiles& files, const PackageRecord& record, const RepositoryCheck& check,
                  FindingList& findings);

}  // namespace bex::repo

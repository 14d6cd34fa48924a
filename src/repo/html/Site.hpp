#pragma once

#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Files.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// Writes the pages of the suites: `index.html`, and in `html/` a style sheet, a script and a directory for each
/// suite. A page that would be the same is not written; that of a package is compared by the digest of its
/// stanzas, so that packages are opened for new pages only. Pages of packages that are gone are removed.
void writeSite(const Layout& layout, const std::vector<SuiteSettings>& suites, const PublishOptions& options,
               PublishResult& result, System& system);

}  // namespace bex::repo

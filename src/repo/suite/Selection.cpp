#include "repo/suite/Selection.hpp"

#include <fnmatch.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::repo {

namespace {

/// The bound within "(<< 2.0)", by the rules of a dependency on a package.
stream::VersionBound boundOf(const std::string& text, const std::string& query) {
    try {
        // The parser wants a package's name; "x" stands for it. Too little or too much gives no bound, and so the
        // message.
        return stream::parseRelations("x " + text).at(0).at(0).bound.value();
    } catch (const std::exception&) {
        throw failure(ErrorKind::invalidInput, "invalid-input", "",
                      "not a query of the form \"NAME\" or \"NAME (<< VERSION)\": " + quoted(query));
    }
}

}  // namespace

Selector::Selector(const std::string& query) {
    const std::size_t bracket = query.find('(');
    name_ = stream::trimmed(std::string_view(query).substr(0, bracket));
    // Text without a bracket but with a blank is a mistake in the form, which boundOf() reports.
    if (bracket != std::string::npos || name_.empty() || name_.find(' ') != std::string::npos) {
        bound_ = boundOf(query.substr(std::min(bracket, query.size())), query);
    }
    if (const std::size_t colon = name_.find(':'); colon != std::string::npos) {
        architecture_ = name_.substr(colon + 1);
        name_.erase(colon);
    }
}

bool Selector::admits(const Stanza& package) const {
    if (!architecture_.empty() && architecture_ != package.architecture) {
        return false;
    }
    // As in a shell. Names of packages have no "/" and no leading ".", so that no flag is needed.
    if (fnmatch(name_.c_str(), std::string(package.package).c_str(), 0) != 0) {
        return false;
    }
    return !bound_ || bound_->admits(stream::Version::parse(package.version));
}

std::vector<SuitePackage> select(const NextSuite& suite, const Query& query, bool mustMatch) {
    const std::vector<Selector> selectors(query.packages.begin(), query.packages.end());
    std::vector<bool> isUsed(selectors.size());
    std::vector<SuitePackage> found;
    for (const SuitePackage& package : suite.packages()) {
        if (!query.component.empty() && query.component != package.component) {
            continue;
        }
        bool isWanted = selectors.empty();
        for (std::size_t i = 0; i < selectors.size(); ++i) {
            if (selectors[i].admits(package.stanza)) {
                isWanted = true;
                isUsed[i] = true;
            }
        }
        if (isWanted) {
            found.push_back(package);
        }
    }
    const auto unused = std::find(isUsed.begin(), isUsed.end(), false);
    // A name that fits nothing is a typing error as a rule, and the others of the command should not be removed
    // alone.
    if (mustMatch && unused != isUsed.end()) {
        const auto number = static_cast<std::size_t>(unused - isUsed.begin());
        throw failure(ErrorKind::invalidInput, "no-match", "",
                      "suite " + suite.settings().suite + " has no package " + quoted(query.packages[number]));
    }
    return found;
}

std::vector<SuitePackage> olderThanNewest(std::vector<SuitePackage> packages, std::size_t keep) {
    const auto groupOf = [](const SuitePackage& package) {
        return std::tie(package.component, package.stanza.package, package.stanza.architecture);
    };
    // Packages of one group are neighbours then, and a rank within the group is a counter.
    std::stable_sort(packages.begin(), packages.end(), [&](const SuitePackage& a, const SuitePackage& b) {
        if (groupOf(a) != groupOf(b)) {
            return groupOf(a) < groupOf(b);
        }
        return compareVersions(a.stanza.version, b.stanza.version) > 0;  // the newest first
    });
    std::vector<SuitePackage> older;
    std::size_t rank = 0;
    for (std::size_t i = 0; i < packages.size(); ++i) {
        rank = i > 0 && groupOf(packages[i]) == groupOf(packages[i - 1]) ? rank + 1 : 0;
        if (rank >= keep) {
            older.push_back(packages[i]);
        }
    }
    return older;
}

}  // namespace bex::repo

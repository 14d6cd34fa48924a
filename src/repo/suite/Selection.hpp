#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "bex/stream/Relation.hpp"
#include "repo/suite/NextSuite.hpp"

namespace bex::repo {

/// Which packages a query means: "NAME", "NAME:ARCHITECTURE" or either with a bound, "NAME (<< VERSION)". The name
/// is a glob(7) pattern.
class Selector {
public:
    /// Throws StreamError (`invalidInput`) for a query that is none.
    explicit Selector(const std::string& query);

    bool admits(const Stanza& package) const;

private:
    std::string name_;
    std::string architecture_;
    std::optional<stream::VersionBound> bound_;
};

/// The packages that one of the queries means, in their order; all for no query. With `mustMatch`, throws
/// StreamError (`invalidInput`) where a query means none.
std::vector<SuitePackage> select(const NextSuite& suite, const Query& query, bool mustMatch);

/// Those that are not among the newest `keep` versions of their package, component and architecture.
std::vector<SuitePackage> olderThanNewest(std::vector<SuitePackage> packages, std::size_t keep);

}  // namespace bex::repo

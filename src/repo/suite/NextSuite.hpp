#pragma once

#include <string>
#include <vector>

#include "repo/index/StanzaList.hpp"
#include "repo/suite/Changes.hpp"
#include "repo/suite/PublishedSuite.hpp"
#include "repo/suite/Settings.hpp"

namespace bex::repo {

/// Applies a component's changes to its published packages; `architecture` leaves out what an index for it does
/// not list, "" leaves out nothing. The stanzas of the changes lie in `changes`, which must live as long as the
/// list.
void apply(const Changes& changes, const std::string& component, const std::string& architecture,
           StanzaList& packages);

/// One package of a suite with the component that it is in.
struct SuitePackage {
    std::string component;
    Stanza stanza;
};

/// A suite as the next publication will have it.
class NextSuite {
public:
    NextSuite(const Layout& layout, const SuiteSettings& settings);

    const SuiteSettings& settings() const noexcept { return settings_; }
    const std::vector<SuitePackage>& packages() const noexcept { return packages_; }

    /// Notes the change for the next publication; write() keeps it. `packages()` is as it was.
    void add(const std::string& component, std::string stanza) { changes_.add(component, std::move(stanza)); }
    void remove(const SuitePackage& package) { changes_.remove(package.component, package.stanza); }
    void write(System& system) const { changes_.write(system); }

    /// `packages()` with the changes that were noted since.
    std::vector<SuitePackage> withChanges();

    PackageId idOf(const SuitePackage& package) const;

private:
    std::vector<SuitePackage> collect() const;

    SuiteSettings settings_;
    Changes changes_;
    std::vector<StanzaList> lists_;
    std::vector<SuitePackage> packages_;
};

}  // namespace bex::repo

#include "repo/suite/NextSuite.hpp"

#include <algorithm>

namespace bex::repo {

namespace {

/// The place of the package in the sorted list, or where it belongs.
std::vector<Stanza>::iterator findPlace(std::vector<Stanza>& stanzas, const Stanza& package) {
    return std::lower_bound(stanzas.begin(), stanzas.end(), package, isBefore);
}

}  // namespace

void apply(const Changes& changes, const std::string& component, const std::string& architecture,
           StanzaList& packages) {
    std::vector<Stanza> added;
    std::vector<bool> isRemoved(packages.stanzas.size());  // taken out in one pass: thousands may leave at once
    for (const Changes::Change& change : changes.all()) {
        const std::string_view of = change.package.architecture;
        const bool isListed = architecture.empty() || of == "all" || of == architecture;
        if (change.component != component || !isListed) {
            continue;
        }
        // Nothing is inserted or erased within this loop, so that places and isRemoved keep their meaning.
        const auto place = findPlace(packages.stanzas, change.package);
        const bool isThere = place != packages.stanzas.end() && isSamePackage(*place, change.package);
        if (isThere && change.isAddition) {
            *place = change.package;
        } else if (isThere) {
            isRemoved[static_cast<std::size_t>(place - packages.stanzas.begin())] = true;
        } else if (change.isAddition) {
            added.push_back(change.package);
        }
    }
    std::size_t number = 0;
    packages.stanzas.erase(std::remove_if(packages.stanzas.begin(), packages.stanzas.end(),
                                          [&](const Stanza&) { return isRemoved[number++]; }),
                           packages.stanzas.end());
    const auto middle = static_cast<std::ptrdiff_t>(packages.stanzas.size());
    // One sort of what is new and one merge: an index of 100,000 packages is not sorted again for ten more.
    std::sort(added.begin(), added.end(), isBefore);
    packages.stanzas.insert(packages.stanzas.end(), added.begin(), added.end());
    std::inplace_merge(packages.stanzas.begin(), packages.stanzas.begin() + middle, packages.stanzas.end(),
                       isBefore);
}

NextSuite::NextSuite(const Layout& layout, const SuiteSettings& settings)
    : settings_(settings), changes_(layout, settings.suite) {
    // After the changes: a reader takes no lock, and a publication may come in between. Changes that are
    // published already alter nothing when they are applied again; in the other order they would be missed.
    const PublishedSuite published(layout, settings.suite);
    for (const std::string& component : settings.components) {
        // In the order of the components: lists_[i] belongs to settings.components[i].
        lists_.push_back(published.packages(component, settings.architectures));
        apply(changes_, component, "", lists_.back());
    }
    packages_ = collect();
}

std::vector<SuitePackage> NextSuite::collect() const {
    std::vector<SuitePackage> packages;
    for (std::size_t i = 0; i < lists_.size(); ++i) {
        for (const Stanza& stanza : lists_[i].stanzas) {
            packages.push_back({settings_.components[i], stanza});
        }
    }
    return packages;
}

std::vector<SuitePackage> NextSuite::withChanges() {
    // Changes that were applied before are applied again, which alters nothing.
    for (std::size_t i = 0; i < lists_.size(); ++i) {
        apply(changes_, settings_.components[i], "", lists_[i]);
    }
    return collect();
}

PackageId NextSuite::idOf(const SuitePackage& package) const {
    PackageId id;
    id.suite = settings_.suite;
    id.component = package.component;
    id.name = package.stanza.package;
    id.version = package.stanza.version;
    id.architecture = package.stanza.architecture;
    id.filename = package.stanza.filename;
    return id;
}

}  // namespace bex::repo

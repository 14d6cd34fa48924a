#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "repo/files/Files.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// What was added to a suite and removed from it since it was published. One file for each suite, replaced whole,
/// so that a command's changes are all noted or none.
///
/// The file is a control file: each paragraph begins with "Bex-Change: add COMPONENT" or "Bex-Change: remove
/// COMPONENT". After it come the lines of the package's stanza, of a removed one only those that name it.
class Changes {
public:
    /// Reads the file of the suite; none is no change.
    Changes(const Layout& layout, const std::string& suite);

    struct Change {
        bool isAddition = true;
        std::string component;
        Stanza package;  ///< its texts live as long as the Changes
    };

    /// At most one for each component and package.
    const std::vector<Change>& all() const noexcept { return changes_; }
    bool empty() const noexcept { return changes_.empty(); }

    /// Notes a change; it takes the place of one of the same package in the same component.
    void add(const std::string& component, std::string stanza);
    void remove(const std::string& component, const Stanza& package);

    /// Replaces the file.
    void write(System& system) const;

    /// Removes the file: all has been published.
    void discard(System& system) const;

private:
    void note(Change change);

    std::string path_;
    /// Component, package, version and architecture, the last three within `texts_`.
    using Key = std::tuple<std::string, std::string_view, std::string_view, std::string_view>;

    std::vector<std::shared_ptr<const std::string>> texts_;
    std::vector<Change> changes_;
    std::map<Key, std::size_t> places_;  ///< of each package in `changes_`
};

}  // namespace bex::repo

#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// A control archive and what is changed in it; PackageEditor has the rules.
class ControlEdit {
public:
    /// `package` is its name in messages; `root` the archive's entry for "./".
    ControlEdit(std::string package, std::optional<Entry> root, std::vector<ControlMember> members);

    /// Reads it the first time. Throws as ControlParagraph::parse().
    ControlParagraph& paragraph();
    const std::vector<ControlMember>& members() const noexcept { return members_; }

    void set(const std::string& name, std::string contents);
    bool remove(std::string_view name);
    void addConffile(const std::string& path);

    /// Puts the paragraph into the member "control". Throws StreamError (`invalidInput`) with all faults that it
    /// has and did not have before.
    void update();

    /// Whether anything differs from the archive that was read; after update().
    bool hasChanged() const noexcept { return changed_; }
    bool hasNewConffiles() const noexcept { return newConffiles_; }
    /// What is only disliked in the members that were set.
    std::vector<Finding> notes() const;

    /// Writes the tar archive, after update().
    void write(Sink& out) const;

private:
    std::vector<ControlMember>::iterator find(std::string_view name);
    Entry newEntry(const std::string& name) const;
    void requireNoNewFaults() const;

    const std::string package_;
    const std::optional<Entry> root_;
    std::vector<ControlMember> members_;
    ControlParagraph before_;
    std::optional<ControlParagraph> paragraph_;                       // once it has been asked for
    std::map<std::string, std::vector<Finding>, std::less<>> notes_;  // by member
    bool changed_ = false;
    bool newConffiles_ = false;
};

}  // namespace bex::stream

#include "stream/edit/ControlEdit.hpp"

#include <algorithm>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/Conffiles.hpp"
#include "stream/control/ControlText.hpp"
#include "stream/control/MemberOddities.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/ControlArchiveWriter.hpp"
#include "stream/writer/Notes.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

bool isEqual(const ControlParagraph& left, const ControlParagraph& right) {
    // Names by case, too: a field that was respelled has to be written anew.
    return std::equal(left.fields().begin(), left.fields().end(), right.fields().begin(), right.fields().end(),
                      [](const auto& a, const auto& b) { return a.name == b.name && a.value == b.value; });
}

[[noreturn]] void refuse(const std::string& name, const char* fault) {
    throw invalidInput("", "control member " + quotedName(name) + ": " + fault);
}

void requireSettable(const std::string& name) {
    if (!isPlainFileName(name)) {
        refuse(name, "is not a plain file name");
    }
    if (name == "control") {
        refuse(name, "must be changed field by field");
    }
    if (name == "md5sums") {
        refuse(name, "belongs to the payload, which an edit does not change");
    }
}

/// Throws for what dpkg would refuse; returns what it only dislikes.
std::vector<Finding> notesOn(const std::string& name, const std::string& contents) {
    std::vector<Finding> notes;
    Notes(notes).takeOddities(
        name, name == "conffiles" ? readConffiles(contents).oddities : memberOddities(name, contents));
    return notes;
}

}  // namespace

ControlEdit::ControlEdit(std::string package, std::optional<Entry> root, std::vector<ControlMember> members)
    : package_(std::move(package)), root_(std::move(root)), members_(std::move(members)) {}

ControlParagraph& ControlEdit::paragraph() {
    // Not before: of a package whose paragraph cannot be read, other members can still be changed.
    if (!paragraph_) {
        before_ = parseControl(members_, package_);
        paragraph_ = before_;
    }
    return *paragraph_;
}

std::vector<ControlMember>::iterator ControlEdit::find(std::string_view name) {
    return std::find_if(members_.begin(), members_.end(),
                        [name](const ControlMember& member) { return plainPath(member.entry.path) == name; });
}

/// Named as the archive names its members, "./" or not; as new as the newest of them.
Entry ControlEdit::newEntry(const std::string& name) const {
    std::int64_t newest = 0;
    for (const ControlMember& member : members_) {
        newest = std::max(newest, member.entry.mtime);
    }
    Entry entry = controlEntryOf(name, 0, newest);
    const std::string& control = findMember(members_, "control")->entry.path;
    // The plain path is "control", so that the stored one has at least as many bytes: the length cannot wrap.
    entry.path = control.substr(0, control.size() - std::string_view("control").size()) + name;
    return entry;
}

void ControlEdit::set(const std::string& name, std::string contents) {
    requireSettable(name);
    // All that refuses comes before the first change.
    std::vector<Finding> notes = notesOn(name, contents);
    Entry entry = newEntry(name);
    const auto old = find(name);
    if (old == members_.end()) {
        members_.push_back({std::move(entry), std::move(contents)});
    } else {
        // Keeps the spelling of the path that it replaces.
        entry.path = old->entry.path;
        *old = {std::move(entry), std::move(contents)};
    }
    notes_[name] = std::move(notes);
    newConffiles_ = newConffiles_ || name == "conffiles";
    changed_ = true;
}

bool ControlEdit::remove(std::string_view name) {
    if (name == "control") {
        refuse(std::string(name), "can't be removed");
    }
    const auto found = find(name);
    if (found == members_.end()) {
        return false;
    }
    members_.erase(found);
    notes_.erase(std::string(name));
    changed_ = true;
    return true;
}

void ControlEdit::addConffile(const std::string& path) {
    const std::string plain = packageFilePath(path);
    const auto old = find("conffiles");
    std::string text = old != members_.end() ? old->contents : std::string();
    // Paths are compared in their plain form: "/etc/a" and "//etc/a" are one file.
    const auto listed = readConffiles(text).lines;
    if (std::any_of(listed.begin(), listed.end(), [&](const ConffileLine& line) {
            return !line.toBeRemoved && plainPath(line.path) == plain;
        })) {
        return;
    }
    // dpkg refuses a last line without its newline, and the new one would join it.
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    set("conffiles", text + '/' + plain + '\n');
}

void ControlEdit::update() {
    // A package is not copied anew for a change that changes nothing.
    if (!paragraph_ || isEqual(*paragraph_, before_)) {
        return;
    }
    // Before the member is touched. Old faults stay allowed: a package in use must remain editable.
    requireNoNewFaults();
    ControlMember& control = *find("control");
    control.contents = withFields(control.contents, *paragraph_);
    control.entry.size = control.contents.size();
    // So that a second call without a further change does nothing.
    before_ = *paragraph_;
    changed_ = true;
}

void ControlEdit::requireNoNewFaults() const {
    const std::vector<std::string> old = before_.faults();
    std::string faults;
    for (const std::string& fault : paragraph_->faults()) {
        if (std::find(old.begin(), old.end(), fault) == old.end()) {
            appendPart(faults, "\n", "control: " + fault);
        }
    }
    if (!faults.empty()) {
        Place(package_).fail(ErrorKind::invalidInput, "field", faults);
    }
}

std::vector<Finding> ControlEdit::notes() const {
    std::vector<Finding> all;
    for (const auto& [name, notes] : notes_) {
        all.insert(all.end(), notes.begin(), notes.end());
    }
    return all;
}

void ControlEdit::write(Sink& out) const {
    TarWriter tar(out);
    // As it was in the archive, or not at all.
    if (root_) {
        tar.begin(*root_);
    }
    for (const ControlMember& member : members_) {
        Entry entry = member.entry;
        // The entry may be the one that was read: its size is that of the old contents.
        entry.size = member.contents.size();
        tar.begin(entry);
        tar.write(member.contents.data(), member.contents.size());
    }
    tar.finish();
}

}  // namespace bex::stream

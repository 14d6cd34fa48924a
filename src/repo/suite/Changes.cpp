#include "repo/suite/Changes.hpp"

#include <memory>
#include <utility>

#include "repo/base/Failure.hpp"
#include "stream/base/Text.hpp"
#include "stream/system/AtomicFile.hpp"

namespace bex::repo {

namespace {

constexpr std::string_view kAdd = "Bex-Change: add ";
constexpr std::string_view kRemove = "Bex-Change: remove ";

}  // namespace

Changes::Changes(const Layout& layout, const std::string& suite) : path_(layout.changes(suite)) {
    auto text = readFile(path_);
    if (!text) {
        return;
    }
    // Stanzas are views into the texts. Behind a pointer they stay in their place when the vector grows.
    texts_.push_back(std::make_shared<const std::string>(std::move(*text)));
    for (const Stanza& paragraph : readStanzas(*texts_.back(), path_)) {
        Change change;
        const std::size_t lineEnd = paragraph.text.find('\n');
        const std::string_view line = paragraph.text.substr(0, lineEnd);
        change.isAddition = stream::startsWith(line, kAdd);
        if (!change.isAddition && !stream::startsWith(line, kRemove)) {
            throw failure(ErrorKind::damaged, "changes", path_, "a paragraph does not begin with Bex-Change");
        }
        // The component is the last word: a component has no blank.
        change.component = line.substr(line.rfind(' ') + 1);
        change.package = paragraph;
        change.package.text.remove_prefix(lineEnd + 1);
        note(std::move(change));
    }
}

void Changes::note(Change change) {
    // The last change of a package is the one that counts. A removal of what was only added is kept, since the
    // publication learns from it which file of the pool to drop.
    const auto [place, isNew] = places_.try_emplace(
        Key{change.component, change.package.package, change.package.version, change.package.architecture},
        changes_.size());
    if (isNew) {
        changes_.push_back(std::move(change));
    } else {
        changes_[place->second] = std::move(change);
    }
}

void Changes::add(const std::string& component, std::string stanza) {
    texts_.push_back(std::make_shared<const std::string>(std::move(stanza)));
    note({true, component, readStanza(*texts_.back())});
}

void Changes::remove(const std::string& component, const Stanza& package) {
    std::string text = "Package: " + std::string(package.package) + "\n";
    text += "Version: " + std::string(package.version) + "\n";
    text += "Architecture: " + std::string(package.architecture) + "\n";
    text += "Filename: " + std::string(package.filename) + "\n";
    texts_.push_back(std::make_shared<const std::string>(std::move(text)));
    note({false, component, readStanza(*texts_.back())});
}

void Changes::write(System& system) const {
    std::string text;
    for (const Change& change : changes_) {
        text.append(change.isAddition ? kAdd : kRemove).append(change.component).append("\n");
        text.append(change.package.text).append("\n");
    }
    // As a whole: a command that is killed has changed nothing, or all that it was asked for.
    writeFile(path_, text, system);
}

void Changes::discard(System& system) const {
    // Not synced: changes that a crash brings back are published already, and alter nothing.
    removeFile(path_, system);
}

}  // namespace bex::repo

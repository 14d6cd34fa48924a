#include "stream/edit/KeptLinks.hpp"

namespace bex::stream {

void KeptLinks::see(const Entry& entry, bool kept) {
    const std::string target = entry.type == EntryType::hardlink ? plainPath(entry.linkTarget) : "";
    const auto found = leftOut_.find(target);
    const bool lost = !target.empty() && found != leftOut_.end();
    if (kept) {
        if (lost && found->second->empty()) {
            *found->second = plainPath(entry.path);
        }
        return;
    }
    // Names of one file share their heir, whichever of them a later link leads to.
    leftOut_.emplace(plainPath(entry.path), lost ? found->second : std::make_shared<std::string>(target));
}

bool KeptLinks::apply(Entry& entry, bool kept) const {
    if (!kept) {
        const auto found = leftOut_.find(plainPath(entry.path));
        if (entry.type != EntryType::file || found == leftOut_.end() || found->second->empty()) {
            return false;
        }
        entry.path = *found->second;
        return true;
    }
    if (entry.type != EntryType::hardlink) {
        return true;
    }
    const auto found = leftOut_.find(plainPath(entry.linkTarget));
    if (found == leftOut_.end()) {
        return true;
    }
    entry.linkTarget = *found->second;
    return plainPath(entry.path) != entry.linkTarget;  // has been added as the file
}

}  // namespace bex::stream

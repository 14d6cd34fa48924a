#include "verbs/TreeFilter.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

/// The path of the target relative to the tree; "" where it is not below it.
std::string placeInTree(const std::string& tree, const std::string& target) {
    std::error_code failure;
    // The directory is resolved and the name is not: the target itself may be a symlink, or not exist yet.
    const fs::path directory = fs::weakly_canonical(fs::absolute(target, failure).parent_path(), failure);
    const fs::path path =
        (directory / fs::path(target).filename()).lexically_relative(fs::weakly_canonical(tree, failure));
    if (target.empty() || failure || path.empty() || *path.begin() == "..") {
        return "";
    }
    return path.string();
}

std::string valueOf(const stream::ControlParagraph& control, const char* name) {
    const std::string* value = control.find(name);
    if (value == nullptr) {
        return "";
    }
    return *value;
}

/// Whether the file is an ar archive, as every package is. A file that cannot be read is not one: whoever packages
/// it reports why.
bool isArchive(const std::string& path) {
    std::array<char, 8> begin = {};
    std::ifstream(path, std::ios::binary).read(begin.data(), begin.size());
    return std::string_view(begin.data(), begin.size()) == "!<arch>\n";
}

}  // namespace

TreeFilter::TreeFilter(std::string tree, const std::string& target, const stream::ControlParagraph& control,
                       Console& console)
    : tree_(std::move(tree)),
      target_(placeInTree(tree_, target)),
      begin_(valueOf(control, "Package") + "_"),
      middle_("_" + valueOf(control, "Architecture") + "."),
      console_(console) {}

bool TreeFilter::operator()(const stream::Entry& entry) const {
    const std::string path = stream::plainPath(entry.path);
    // Only at the top of the tree: a DEBIAN further down is payload.
    if (path == kControlDirectory || path == target_) {
        return false;
    }
    // Packages further down may be meant, such as those of a repository that is packaged.
    const bool onTop = path.find('/') == std::string::npos;
    return !(onTop && entry.type == stream::EntryType::file && isOtherPackage(path));
}

bool TreeFilter::isOtherPackage(const std::string& name) const {
    const std::size_t middle = name.rfind(middle_);
    const bool isNamedSo = stream::startsWith(name, begin_) && middle != std::string::npos &&
                           middle > begin_.size() && middle + middle_.size() < name.size();
    const std::string path = (fs::path(tree_) / name).string();
    if (!isNamedSo || !isArchive(path)) {
        return false;
    }
    console_.note(stream::escapeForDisplay(path) + ": left out: an earlier package of the same name");
    return true;
}

}  // namespace bex::tool

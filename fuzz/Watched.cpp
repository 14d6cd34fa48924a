#include "Watched.hpp"

#include <sys/stat.h>

#include "Target.hpp"

namespace bex::fuzz {

namespace fs = std::filesystem;

Watched::Watched(Traps traps) : destination_(folder_ / "into") {
    const std::string canary = folder_.write("canary/file", "untouched");
    fs::permissions(canary, fs::perms::owner_read | fs::perms::group_read);
    fs::create_directory(destination_);
    if (traps == Traps::set) {
        fs::create_symlink("../canary/file", destination_ + "/link");
        fs::create_symlink("../canary", destination_ + "/folder");
        fs::create_hard_link(canary, destination_ + "/name");
    }
    before_ = surroundings();
}

void Watched::check() const {
    requireEqual(before_, surroundings(), "nothing beside the destination changes");
}

/// All but the destination with type, mode, owner, time and contents.
std::string Watched::surroundings() const {
    std::string told;
    for (auto found = fs::recursive_directory_iterator(folder_.path());
         found != fs::recursive_directory_iterator(); ++found) {
        const std::string path = found->path().string();
        if (path == destination_) {
            found.disable_recursion_pending();
            continue;
        }
        struct stat status = {};
        require(lstat(path.c_str(), &status) == 0, "what was found is there", path);
        told += path + '|' + test::unpacking::describe(path) + '|' + std::to_string(status.st_uid) + '|' +
                std::to_string(status.st_mtim.tv_sec) + '.' + std::to_string(status.st_mtim.tv_nsec) + '\n';
    }
    return told;
}

}  // namespace bex::fuzz

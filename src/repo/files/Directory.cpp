#include "repo/files/Directory.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "repo/base/Failure.hpp"
#include "repo/files/Files.hpp"
#include "stream/base/ForEachName.hpp"
#include "stream/base/Text.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::repo {

std::vector<std::string> namesIn(const std::string& path, stream::System& system) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    stream::Descriptor file(system.openat(AT_FDCWD, path.c_str(), flags, 0), system);
    if (!file && errno == ENOENT) {
        return {};
    }
    stream::DirectoryNames directory(nullptr, system);
    if (file) {
        directory.reset(system.fdopendir(file.get()));
    }
    if (directory == nullptr) {
        throw systemFailure(path, "open the directory", errno);
    }
    file.release();  // the directory's now
    std::vector<std::string> names;
    const int error = stream::forEachName([&] { return system.readdir(directory.get()); },
                                          [&](const dirent& entry) { names.emplace_back(entry.d_name); });
    if (error != 0) {
        throw systemFailure(path, "read the directory", error);
    }
    // The order of a directory is the file system's; what is reported or removed must not depend on it.
    std::sort(names.begin(), names.end());
    return names;
}

void removeTemporaries(const std::string& path, stream::System& system) {
    constexpr std::string_view prefix = ".bex-";
    for (const std::string& name : namesIn(path, system)) {
        if (stream::startsWith(name, prefix)) {
            removeFile(path + "/" + name, system);
        }
    }
}

}  // namespace bex::repo

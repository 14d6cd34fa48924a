#include "stream/system/OpenLongPath.hpp"

#include <fcntl.h>

#include <cstddef>
#include <string>

#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kLongestPath = 4000;  // PATH_MAX is 4096

}  // namespace

Descriptor openLongPath(System& system, int directory, std::string_view relative, int flags) {
    Descriptor reached;
    while (relative.size() > kLongestPath) {
        const std::size_t end = relative.rfind('/', kLongestPath);
        if (end == relative.npos) {
            break;
        }
        const std::string step(relative.substr(0, end));
        reached = Descriptor(
            system.openat(directory, step.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0), system);
        if (!reached) {
            return reached;
        }
        directory = reached.get();
        relative.remove_prefix(end + 1);
    }
    const std::string last(orIfEmpty(relative, "."));
    return {system.openat(directory, last.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, 0), system};
}

}  // namespace bex::stream

#include "shlibs/base/TextFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/ReadStart.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/ForEachName.hpp"
#include "stream/base/Owners.hpp"

namespace bex::shlibs {

namespace {

// The file is read whole, so its size must be bounded before memory is asked for.
constexpr off_t kMaximumBytes = off_t{256} << 20;
// Spelled out: isspace() depends on the locale and takes no negative char.
constexpr const char* kBlanks = " \t\r\n\f\v";

}  // namespace

std::optional<std::string> readTextFile(const std::string& path) {
    const stream::PlainDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        // An open file that is not regular (a directory, a FIFO) counts as absent. Where open() failed, errno is
        // its own, since && has kept fstat() from being called.
        if (errno == ENOENT || errno == ENOTDIR || file) {
            return std::nullopt;
        }
        throw systemFailure(path, errno);
    }
    if (status.st_size > kMaximumBytes) {
        throw failure(ErrorKind::limitExceeded, path, "has more than " + std::to_string(kMaximumBytes) + " bytes");
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    // The file may have become shorter since fstat(): what was read counts. What was added since is left out.
    text.resize(readStart(file.get(), text.data(), text.size(), path));
    return text;
}

std::string_view nextWord(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    const std::string_view word = rest.substr(0, rest.find_first_of(kBlanks));
    rest.remove_prefix(word.size());
    return word;
}

std::string_view trimmed(std::string_view text) {
    return stream::trimmed(text, kBlanks);
}

std::vector<std::string> namesIn(const std::string& directory) {
    const stream::PlainDirectory handle(opendir(directory.c_str()));
    std::vector<std::string> names;
    if (handle == nullptr) {
        return names;
    }
    // Where a name can't be read, those before it count.
    stream::forEachName([&] { return readdir(handle.get()); },
                        [&](const dirent& item) { names.emplace_back(item.d_name); });
    // Directories have no order of their own; results that follow from them must be the same on every machine.
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace bex::shlibs

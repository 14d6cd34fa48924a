#include "shlibs/base/TextFile.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "shlibs/base/Descriptor.hpp"
#include "shlibs/base/Failure.hpp"

namespace bex::shlibs {

namespace {

constexpr off_t kMaximumBytes = off_t{256} << 20;
constexpr const char* kBlanks = " \t\r\n\f\v";

}  // namespace

std::optional<std::string> readTextFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        if (errno == ENOENT || errno == ENOTDIR || file) {
            return std::nullopt;
        }
        throw systemFailure(path, errno);
    }
    if (status.st_size > kMaximumBytes) {
        throw failure(ErrorKind::limitExceeded, path, "has more than " + std::to_string(kMaximumBytes) + " bytes");
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    text.resize(readAt(file.get(), text.data(), text.size(), 0, path));
    return text;
}

bool nextLine(std::string_view& rest, std::string_view& line) {
    if (rest.empty()) {
        return false;
    }
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return true;
}

std::string_view nextWord(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    const std::string_view word = rest.substr(0, rest.find_first_of(kBlanks));
    rest.remove_prefix(word.size());
    return word;
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool endsWith(std::string_view text, std::string_view end) noexcept {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::vector<std::string> namesIn(const std::string& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> handle(opendir(directory.c_str()), closedir);
    std::vector<std::string> names;
    if (handle == nullptr) {
        return names;
    }
    while (const dirent* item = readdir(handle.get())) {
        names.emplace_back(item->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace bex::shlibs

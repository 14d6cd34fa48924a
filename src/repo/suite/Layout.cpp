#include "repo/suite/Layout.hpp"

#include <cstddef>

#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kLongestName = 255;  // of a file, NAME_MAX of the usual file systems

/// Packages of a library are too many for one letter.
std::string letterOf(const std::string& source) {
    // Debian's own rule: "libh" for libhello, "h" for hello.
    const bool isLibrary = source.size() > 3 && stream::startsWith(source, "lib");
    return source.substr(0, isLibrary ? 4 : 1);
}

void requirePlain(const char* what, const std::string& value, const std::string& file) {
    if (!isPlainWord(value)) {  // guard: names in the pool
        throw failure(ErrorKind::refused, "unsafe-filename", file,
                      std::string(what) + " " + quoted(value) + " can't name a file");
    }
}

}  // namespace

bool isPlainWord(std::string_view word) {
    return !word.empty() && word.size() <= kLongestName && stream::isAlphanumeric(word.front()) &&
           stream::consistsOf(word, [](char c) {
               return stream::isAlphanumeric(c) || std::string_view("._~+-").find(c) != std::string_view::npos;
           });
}

std::string poolPath(const PoolName& name, const std::string& file) {
    const std::string version = name.version.substr(name.version.find(':') + 1);  // npos + 1 is 0
    // All four come from the package's own fields: "/" or ".." in one of them would lead out of the pool.
    requirePlain("source package", name.source, file);
    requirePlain("package", name.package, file);
    requirePlain("version", version, file);
    requirePlain("architecture", name.architecture, file);
    const std::string last = name.package + "_" + version + "_" + name.architecture + name.extension;
    // Each part may be short enough and the whole too long.
    if (last.size() > kLongestName) {  // guard: lengths of names in the pool
        throw failure(ErrorKind::refused, "unsafe-filename", file, "its name in the pool would be too long");
    }
    return "pool/" + name.component + "/" + letterOf(name.source) + "/" + name.source + "/" + last;
}

}  // namespace bex::repo

#include "repo/suite/Layout.hpp"

#include <cstddef>

#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kLongestName = 255;  // of a file, NAME_MAX of the usual file systems

/// Packages of a library are too many for one letter.
std::string letterOf(const std::string& source) {
    const bool isLibrary = source.size() > 3 && source.compare(0, 3, "lib") == 0;
    return source.substr(0, isLibrary ? 4 : 1);
}

void requirePlain(const std::string& what, const std::string& value) {
    if (!isPlainWord(value)) {  // guard: names lead nowhere but into the pool
        throw failure(ErrorKind::refused, "unsafe-filename", "",
                      what + " " + quoted(value) + " can't name a file");
    }
}

}  // namespace

bool isPlainWord(std::string_view word) {
    return !word.empty() && word.size() <= kLongestName && stream::isAlphanumeric(word.front()) &&
           stream::consistsOf(word, [](char c) {
               return stream::isAlphanumeric(c) || std::string_view("._~+-").find(c) != std::string_view::npos;
           });
}

std::string poolPath(const std::string& component, const std::string& source, const std::string& package,
                     const std::string& version, const std::string& architecture, const std::string& extension) {
    const std::string plainVersion = version.substr(version.find(':') + 1);  // npos + 1 is 0
    requirePlain("source package", source);
    requirePlain("package", package);
    requirePlain("version", plainVersion);
    requirePlain("architecture", architecture);
    std::string file = package;
    file.append("_").append(plainVersion).append("_").append(architecture).append(extension);
    if (file.size() > kLongestName) {
        throw failure(ErrorKind::refused, "unsafe-filename", "",
                      "the name of " + quoted(package) + " is too long");
    }
    return "pool/" + component + "/" + letterOf(source) + "/" + source + "/" + file;
}

}  // namespace bex::repo

#include "verbs/TextFile.hpp"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

constexpr std::streamsize kPieceBytes = 16 * 1024;

}  // namespace

stream::StreamError unusable(const std::string& path, const std::string& reason) {
    return {stream::ErrorKind::inputOutput, stream::escapeForDisplay(path) + ": " + reason};
}

std::string readFile(const std::string& path) {
    std::error_code failure;
    if (fs::is_directory(path, failure)) {
        throw unusable(path, "is a directory");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::vector<char> piece(kPieceBytes); file.read(piece.data(), kPieceBytes) || file.gcount() > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        throw unusable(path, errno != 0 ? std::strerror(errno) : "can't read it");
    }
    return text;
}

}  // namespace bex::tool

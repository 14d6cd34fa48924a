#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "archive/PartialFile.hpp"
#include "bex/BexException.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/ZRBex.hpp"
#include "support/ResolvedPath.hpp"

namespace fs = boost::filesystem;

namespace bex {
namespace {

constexpr int kMaxLinks = 40;  // the most that Linux follows in one path, see path_resolution(7)

/// Returns whether `path` is `root` or below it. Both are resolved.
bool isWithin(const std::string& path, const std::string& root) {
    if (path.compare(0, root.size(), root) != 0) {
        return false;
    }
    return path.size() == root.size() || path[root.size()] == '/' || root == "/";
}

/// Replaces the first element of the name, which may be its only one.
fs::path withTop(const fs::path& name, const std::string& topReplacement) {
    fs::path replaced = topReplacement;
    for (auto element = std::next(name.begin()); element != name.end(); ++element) {
        replaced /= *element;
    }
    return replaced;
}

/// Returns the elements of the path below the destination at which the entry is written. Returns none for an
/// empty name, and for one with a zero byte, which would end it earlier for the system than for our checks.
std::vector<std::string> elementsOf(const std::string& name, const std::string& topReplacement) {
    if (name.empty() || (name + topReplacement).find('\0') != std::string::npos) {
        return {};
    }
    fs::path path = name;
    if (!topReplacement.empty()) {
        path = withTop(path, topReplacement);
    }
    std::vector<std::string> elements;
    for (const fs::path& element : path) {
        // A root means the destination: "/" is the directory reached so far, "//net" is "net" in it.
        const std::string text = element.string();
        const std::string::size_type start = text.find_first_not_of('/');
        elements.push_back(start == std::string::npos ? "." : text.substr(start));
    }
    return elements;
}

/// Returns the directory that `name` means in the resolved `directory`, resolved again. Creates it if needed.
fs::path enter(const fs::path& directory, const std::string& name) {
    if (name == ".") {
        return directory;
    }
    if (name == "..") {
        return directory.parent_path();
    }
    const fs::path path = directory / name;
    fs::create_directory(path);
    if (fs::is_symlink(path)) {
        return resolvedPath(path.string());
    }
    return path;
}

/// Follows all elements but the last, one by one: ".." after a link leads to the parent of the link's target.
/// Returns the directory reached, or an empty path when an element leads out of `root`.
fs::path makeDirectories(const fs::path& root, const std::vector<std::string>& elements) {
    fs::path directory = root;
    for (auto element = elements.begin(); element + 1 != elements.end(); ++element) {
        directory = enter(directory, *element);
        if (!isWithin(directory.string(), root.string())) {  // guard: names that lead out
            return {};
        }
    }
    return directory;
}

/// Returns the path that opening `path` would reach, whether or not it exists: no link, in a resolved directory.
/// Returns an empty path for a loop and for a link into a directory that does not exist.
fs::path followLinks(fs::path path) {
    boost::system::error_code failure;
    for (int links = 0; links <= kMaxLinks; ++links) {
        if (fs::symlink_status(path, failure).type() != fs::symlink_file) {
            return path;
        }
        const fs::path target = fs::absolute(fs::read_symlink(path, failure), path.parent_path());
        const fs::path directory = resolvedPath(target.parent_path().string());
        if (failure || directory.empty()) {
            return {};
        }
        path = directory / target.filename();
    }
    return {};
}

/// Returns whether the file has all bytes.
bool writeContents(const fs::path& path, const sFileInMemory& file) {
    std::ofstream out(path.string(), std::ios::out | std::ios::trunc);
    out.write(file.bytes_, static_cast<std::streamsize>(file.size_));
    out.close();
    return out.good();
}

/// Puts a new file with the same permission bits in the place of one with several names. The other names may be
/// outside the destination and keep the old contents. After a failure nothing has changed.
void replaceFile(const fs::path& path, const sFileInMemory& file) {
    boost::system::error_code failure;
    const fs::perms permissions = fs::status(path, failure).permissions() & fs::all_all;
    // Appending nothing changes nothing, but needs the permission that overwriting would need.
    if (failure || !std::ofstream(path.string(), std::ios::app).is_open()) {
        return;
    }
    std::string name = (path.parent_path() / ".bex-XXXXXX").string();
    const int descriptor = ::mkstemp(name.data());
    if (descriptor == -1) {
        return;
    }
    PartialFile partial(std::move(name));
    ::close(descriptor);  // The result is not checked: nothing has been written by it.
    if (!writeContents(partial.path(), file)) {
        return;
    }
    fs::permissions(partial.path(), permissions, failure);
    if (!failure) {
        fs::rename(partial.path(), path, failure);
    }
    if (!failure) {
        partial.keep();
    }
}

/// Meant: an entry that cannot be written is skipped without an error.
void extractFile(const sFileInMemory& file, const fs::path& root, const std::string& topReplacement) {
    const std::vector<std::string> elements = elementsOf(file.name_, topReplacement);
    if (elements.empty()) {
        return;
    }
    const fs::path directory = makeDirectories(root, elements);
    if (directory.empty()) {
        return;
    }
    const fs::path path = followLinks(directory / elements.back());
    if (!isWithin(path.parent_path().string(), root.string())) {  // guard: files that are links out
        return;
    }
    boost::system::error_code failure;
    const fs::file_type type = fs::symlink_status(path, failure).type();
    // guard: files with several names
    if (type == fs::regular_file && fs::hard_link_count(path, failure) != 1) {
        replaceFile(path, file);
    } else if (type == fs::regular_file || type == fs::file_not_found) {
        writeContents(path, file);
    }  // Others are left alone: opening a FIFO would wait for a reader, and a device may do anything.
}

}  // namespace

void ZRBex::extract(const std::string& destination, const std::string& topReplacement) {
    const fs::path path = destination;
    if (!fs::exists(path) || !fs::is_directory(path)) {
        throw BexException("Can't extract bex file to `" + destination + "': `" + path.string() +
                           "' does not exist or is not a directory.");
    }
    const fs::path root = resolvedPath(destination);
    if (root.empty()) {
        const boost::system::error_code reason(errno, boost::system::system_category());
        throw fs::filesystem_error("Can't resolve the destination", path, reason);
    }
    for (const sFileInMemory* file : getFilesInMemory()) {
        extractFile(*file, root, topReplacement);
    }
}

}  // namespace bex

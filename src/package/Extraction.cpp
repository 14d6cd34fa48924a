#include <algorithm>
#include <boost/filesystem.hpp>
#include <fstream>
#include <vector>

#include "bex/BexException.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/ZRBex.hpp"

namespace fs = boost::filesystem;

namespace bex {
namespace {

/// The elements of a name that counts from the destination, a leading "/" left out. `topReplacement` stands
/// for the first of them, or "/" itself, unless it is empty. Nothing for a name that has no file in it.
std::vector<std::string> elementsOf(const std::string& name, const std::string& topReplacement) {
    if (name.find_first_not_of('/') == std::string::npos || name == "." || name == "..") {
        return {};  // no file, and a replacement must not make it one
    }
    fs::path path = name;
    if (!topReplacement.empty()) {
        fs::path replaced = topReplacement;
        for (auto element = path.begin(); element != path.end(); ++element) {
            if (element != path.begin()) {
                replaced /= *element;
            }
        }
        path = replaced;
    }
    std::vector<std::string> elements;
    for (const fs::path& element : path) {
        const std::string text = element.string();
        const std::string::size_type start = text.find_first_not_of('/');
        if (start != std::string::npos) {
            elements.push_back(text.substr(start));
        }
    }
    return elements;
}

/// Whether the elements, followed one by one, name something and never lead above where they start.
bool staysBelow(const std::vector<std::string>& elements) {
    long depth = 0;
    for (const std::string& element : elements) {
        depth += element == ".." ? -1 : element == "." ? 0 : 1;
        // A zero byte would end the name for the system earlier than for this check.
        if (depth < 0 || element.find('\0') != std::string::npos) {
            return false;
        }
    }
    return !elements.empty();
}

/// Whether the path, links followed, stands below the destination. A link that leads nowhere does not.
bool leadsBelow(const fs::path& path, const fs::path& destination) {
    boost::system::error_code failure;
    const fs::path root = fs::canonical(destination);
    const fs::path target = fs::canonical(path, failure);
    return std::mismatch(root.begin(), root.end(), target.begin(), target.end()).first == root.end();
}

/// Makes the directories on the way to the last element, as deep as they stand in the name, and returns where
/// that element goes; nothing where a link that stands there leads out of the destination. "a/.." is taken back by
/// its text alone, so that a link called a can't lead astray.
fs::path makeDirectories(const fs::path& destination, const std::vector<std::string>& elements) {
    std::vector<fs::path> way{destination};
    for (auto element = elements.begin(); element + 1 != elements.end(); ++element) {
        if (*element == "..") {
            way.pop_back();
        } else if (*element != ".") {
            way.push_back(way.back() / *element);
            fs::create_directory(way.back());
            // guard: folders that are links out
            if (fs::is_symlink(way.back()) && !leadsBelow(way.back(), destination)) {
                return {};
            }
        }
    }
    return way.back() / elements.back();
}

/// Removes what can't be written through safely: a link out of the destination, a file with another name, which
/// may stand outside, and a FIFO, which waits for a reader. False when it is still there.
bool clear(const fs::path& path, const fs::path& destination) {
    boost::system::error_code failure;
    const fs::file_type type = fs::symlink_status(path, failure).type();
    const bool ownFile = type == fs::regular_file && fs::hard_link_count(path, failure) == 1;
    const bool ownLink = type == fs::symlink_file && leadsBelow(path, destination);
    if (type == fs::file_not_found || type == fs::directory_file || ownFile || ownLink) {
        return true;
    }
    return fs::remove(path, failure);
}

void extractFile(const sFileInMemory& file, const fs::path& destination, const std::string& topReplacement) {
    const std::vector<std::string> elements = elementsOf(file.name_, topReplacement);
    // guard(elements.empty()): names that lead out
    if (!staysBelow(elements)) {
        return;  // Meant: no error, like any file that can't be written.
    }
    const fs::path path = makeDirectories(destination, elements);
    if (path.empty() || !clear(path, destination)) {  // guard(path.empty()): files that are links out
        return;
    }
    // The stream keeps a failure to itself; so directories ("a/." and "a/..") are passed over as well.
    std::ofstream out(path.string(), std::ios::out | std::ios::trunc);
    out.write(file.bytes_, static_cast<std::streamsize>(file.size_));
}

}  // namespace

void ZRBex::extract(const std::string& destination, const std::string& topReplacement) {
    const fs::path path = destination;
    if (!fs::exists(path) || !fs::is_directory(path)) {
        throw BexException("Can't extract bex file to `" + destination + "': `" + path.string() +
                           "' does not exist or is not a directory.");
    }
    for (const sFileInMemory* file : getFilesInMemory()) {
        extractFile(*file, path, topReplacement);
    }
}

}  // namespace bex

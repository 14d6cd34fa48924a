#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace bex::test {

/// All bytes of a file, copied a buffer at a time: tests read much.
inline std::string bytesOf(const std::filesystem::path& file) {
    const std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file.string());
    }
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

/// A fresh directory below the system's temporary directory, gone with everything in it when the object is.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "bex-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path_ = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;  // a leftover must not hide why a test failed
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Where `name` stands below the directory; nothing is made.
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    /// Writes the file `name`, with the directories above it, and gives its whole path.
    std::string write(const std::string& name, std::string_view bytes) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out.flush()) {
            throw std::runtime_error("cannot write " + file.string());
        }
        return file.string();
    }

    /// All bytes of the file `name`.
    std::string read(const std::string& name) const { return bytesOf(path_ / name); }

private:
    std::filesystem::path path_;
};

}  // namespace bex::test

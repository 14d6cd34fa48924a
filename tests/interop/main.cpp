// Shows what the streaming library makes of a package in the words of dpkg-deb and GNU tar, for scripts/interop.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "bex/stream/PackageReader.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/StreamError.hpp"
#include "bex/stream/Verify.hpp"

namespace {

namespace fs = std::filesystem;
using namespace bex::stream;

bool isSuperuser() {
    return geteuid() == 0;
}

char typeLetter(EntryType type) {
    switch (type) {
        case EntryType::file:
            return '-';
        case EntryType::directory:
            return 'd';
        case EntryType::symlink:
            return 'l';
        case EntryType::hardlink:
            return 'h';
        default:
            return '?';
    }
}

/// "drwxr-sr-t", as ls(1) and tar(1) have it.
std::string modeText(const Entry& entry) {
    std::string text = typeLetter(entry.type) + std::string("rwxrwxrwx");
    for (unsigned bit = 0; bit < 9; ++bit) {
        if ((entry.mode & (0400U >> bit)) == 0) {
            text[bit + 1] = '-';
        }
    }
    const auto mark = [&](std::uint32_t bit, std::size_t at, char lower, char upper) {
        if ((entry.mode & bit) != 0) {
            text[at] = text[at] == 'x' ? lower : upper;
        }
    };
    mark(04000, 3, 's', 'S');
    mark(02000, 6, 's', 'S');
    mark(01000, 9, 't', 'T');
    return text;
}

std::string timeText(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    std::array<char, 32> text{};
    gmtime_r(&time, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

void list(const std::string& package) {
    PackageReader reader(package);
    Entry entry;
    while (reader.next(entry)) {
        const char* const arrow = entry.type == EntryType::symlink    ? " -> "
                                  : entry.type == EntryType::hardlink ? " link to "
                                                                      : "";
        std::cout << modeText(entry) << ' ' << entry.owner << '/' << entry.group << ' ' << entry.size << ' '
                  << timeText(entry.mtime) << ' ' << entry.path << arrow << entry.linkTarget << '\n';
    }
}

void fields(const std::string& package) {
    std::cout << PackageReader(package).control().format();
}

void writeControlMembers(const std::string& package, const fs::path& folder) {
    fs::create_directories(folder);
    const PackageReader reader(package);
    for (const ControlMember& member : reader.controlMembers()) {
        const fs::path path = folder / plainPath(member.entry.path);
        std::ofstream(path, std::ios::binary) << member.contents;
        fs::permissions(path, static_cast<fs::perms>(member.entry.mode));
        const std::array<timespec, 2> times{{{member.entry.mtime, 0}, {member.entry.mtime, 0}}};
        if (utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0) {
            throw std::runtime_error("can't set the time of " + path.string());
        }
    }
}

void extract(const std::string& package, const std::string& folder) {
    ExtractOptions options;
    options.keepSetId = true;
    options.sameOwner = isSuperuser();
    PackageReader(package).extract(folder, options);
}

/// Prints every finding and tells whether there was one.
bool hasFindings(const std::string& package) {
    const std::vector<Finding> findings = verify(package);
    for (const Finding& finding : findings) {
        std::cout << finding.code << ": " << finding.member << ": " << finding.path << ": " << finding.text
                  << '\n';
    }
    return !findings.empty();
}

std::string contentsOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("can't read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

Compression compressionNamed(const std::string& name) {
    for (const Compression compression :
         {Compression::none, Compression::gzip, Compression::xz, Compression::zstd, Compression::bzip2}) {
        if (nameOf(compression) == name) {
            return compression;
        }
    }
    throw std::runtime_error("no compression " + name);
}

void addConffiles(PackageWriter& writer, const fs::path& list) {
    std::ifstream file(list);
    for (std::string path; std::getline(file, path);) {
        writer.addConffile(path);
    }
}

void addControlMembers(PackageWriter& writer, const fs::path& folder) {
    writer.control() = ControlParagraph::parse(contentsOf(folder / "control"), "control");
    for (const fs::directory_entry& member : fs::directory_iterator(folder)) {
        const std::string name = member.path().filename();
        if (name == "conffiles") {
            addConffiles(writer, member.path());
        } else if (name != "control" && name != "md5sums") {
            writer.addControlMember(name, contentsOf(member.path()));
        }
    }
}

/// Packages a tree that is laid out as dpkg-deb's, and holds the result against the tree once more.
void build(const std::string& tree, const std::string& package, const std::string& compression) {
    PackageWriter writer;
    addControlMembers(writer, fs::path(tree) / "DEBIAN");
    TreeOptions treeOptions;
    treeOptions.exclude = {"DEBIAN"};
    writer.addTree(tree, treeOptions);
    WriteOptions options;
    options.compression = compressionNamed(compression);
    options.keepOwner = isSuperuser();
    writer.write(package, options);
    PackageReader reader(package);
    writer.compare(reader, options);
}

/// The exit status, or -1 for wrong use.
int run(const std::vector<std::string>& arguments) {
    const std::string verb = arguments.empty() ? "" : arguments[0];
    if (verb == "list" && arguments.size() == 2) {
        list(arguments[1]);
    } else if (verb == "fields" && arguments.size() == 2) {
        fields(arguments[1]);
    } else if (verb == "members" && arguments.size() == 3) {
        writeControlMembers(arguments[1], arguments[2]);
    } else if (verb == "extract" && arguments.size() == 3) {
        extract(arguments[1], arguments[2]);
    } else if (verb == "verify" && arguments.size() == 2) {
        return hasFindings(arguments[1]) ? 1 : 0;
    } else if (verb == "build" && arguments.size() == 4) {
        build(arguments[1], arguments[2], arguments[3]);
    } else {
        return -1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const int status = run({argv + 1, argv + argc});
        if (status >= 0) {
            return status;
        }
        std::cerr << "usage: bex_interop list|fields|verify PACKAGE | members|extract PACKAGE FOLDER | "
                     "build TREE PACKAGE COMPRESSION\n";
        return 2;
    } catch (const bex::BexException& failure) {
        std::cerr << "bex_interop: " << failure.getMessage() << '\n';
    } catch (const std::exception& failure) {
        std::cerr << "bex_interop: " << failure.what() << '\n';
    }
    return 3;
}

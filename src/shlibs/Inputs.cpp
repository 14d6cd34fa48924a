#include "shlibs/Inputs.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "bex/stream/PackageReader.hpp"
#include "shlibs/base/Failure.hpp"
#include "shlibs/base/ReadStart.hpp"
#include "shlibs/info/SourcePackage.hpp"
#include "stream/base/DescriptorBytes.hpp"
#include "stream/base/Owners.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/UnnamedFile.hpp"

namespace bex::shlibs {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPackageMagic = "!<arch>\n";
constexpr std::size_t kPieceBytes = std::size_t{256} << 10;

/// The first bytes of a regular file. Throws where it cannot be read.
std::string headerOf(const std::string& path) {
    // O_NONBLOCK: a FIFO in the tree must not block the search.
    const stream::PlainDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        throw systemFailure(path, errno);
    }
    std::string header(kElfHeaderBytes, '\0');
    header.resize(readStart(file.get(), header.data(), header.size(), path));
    return header;
}

/// Works on the text alone and follows no symlink, so that a tree is named as the caller named it.
std::string absolute(const std::string& path) {
    std::error_code failure;
    return fs::absolute(path, failure).lexically_normal().string();
}

/// The machine of a file that begins as ELF. Throws where its header is cut.
Machine requireMachine(std::string_view header, const std::string& name) {
    const std::optional<Machine> machine = machineOf(header);
    if (!machine) {
        throw damaged(name, "is not a whole ELF file: the header is cut short");
    }
    return *machine;
}

/// A file that was named by itself. In a build tree (a directory with DEBIAN) it is searched for libraries as if
/// the tree were "/"; elsewhere its path on disk counts, and root stays null.
Subject fileSubject(const std::string& path, std::string_view header) {
    Subject subject;
    subject.name = subject.diskPath = path;
    subject.path = absolute(path);
    subject.machine = requireMachine(header, path);
    subject.tree = SourcePackage::treeAround(subject.path);
    if (!subject.tree.empty()) {
        subject.path = subject.path.substr(subject.tree.size());
        subject.root = std::make_shared<DiskRoot>(subject.tree);
    }
    return subject;
}

/// Walks a tree in the order of its names.
class TreeWalk {
public:
    TreeWalk(const std::string& directory, std::vector<Subject>& files)
        // All files of the tree share one root, and with it what the root remembers of paths already looked at.
        : directory_(directory),
          tree_(absolute(directory)),
          root_(std::make_shared<DiskRoot>(withoutFinalSlash(tree_))),
          files_(files) {}

    void walk() {
        std::vector<fs::path> paths;
        for (auto entry = fs::recursive_directory_iterator(directory_);
             entry != fs::recursive_directory_iterator(); ++entry) {
            // Scripts of the package; its payload alone is installed where programs run.
            if (entry.depth() == 0 && entry->path().filename() == "DEBIAN") {
                entry.disable_recursion_pending();
            } else if (!entry->is_symlink() && entry->is_regular_file()) {
                paths.push_back(entry->path());
            }
        }
        // The order of a directory is the file system's; reports are the same everywhere.
        std::sort(paths.begin(), paths.end());
        for (const fs::path& path : paths) {
            add(path);
        }
    }

private:
    /// DiskRoot joins its directory with paths that begin with a slash. "/" alone becomes "", the machine's own
    /// root.
    static std::string withoutFinalSlash(std::string path) {
        path.erase(path.find_last_not_of('/') + 1);
        return path;
    }

    void add(const fs::path& path) {
        const std::string header = headerOf(path.string());
        if (!isElf(header)) {
            return;
        }
        Subject subject;
        subject.name = subject.diskPath = path.string();
        subject.path = "/" + path.lexically_relative(directory_).string();
        subject.machine = requireMachine(header, subject.name);
        // The header is read once here; the whole file only when its turn comes, so that one is in memory at a
        // time.
        subject.root = root_;
        subject.tree = root_->directory();
        files_.push_back(std::move(subject));
    }

    fs::path directory_;
    std::string tree_;
    std::shared_ptr<DiskRoot> root_;
    std::vector<Subject>& files_;
};

/// The ELF files of a package's payload, each read as it passes by.
class PackageWalk {
public:
    PackageWalk(const std::string& path, const stream::ReadOptions& reading, std::vector<Subject>& files)
        : name_(path), reader_(path, reading), root_(std::make_shared<PackageRoot>()), files_(files) {}

    /// Gives the package's architecture.
    std::string walk() {
        for (stream::Entry entry; reader_.next(entry);) {
            const std::string path = "/" + stream::plainPath(entry.path);
            if (entry.type == stream::EntryType::symlink) {
                root_->addSymlink(path, entry.linkTarget);
            } else if (entry.type == stream::EntryType::hardlink) {
                // The same file under a further name: a library may be looked for under it.
                const std::optional<Machine> machine = root_->machineAt("/" + stream::plainPath(entry.linkTarget));
                if (machine) {
                    root_->addLibrary(path, *machine);
                }
            } else if (entry.type == stream::EntryType::file) {
                addFile(path);
            }
        }
        // "all" counts as absent: such a package may hold files of any machine, so its name decides nothing.
        const std::string* architecture = reader_.control().find("Architecture");
        if (architecture == nullptr || *architecture == "all") {
            return {};
        }
        return *architecture;
    }

private:
    /// Reads the entry's first bytes, and the rest only if they begin as an ELF file does: the reader skips what
    /// is left of any other entry.
    void addFile(const std::string& path) {
        std::string bytes(kElfHeaderBytes, '\0');
        std::size_t size = 0;
        // A read may give less than asked for; only 0 means the end of the entry.
        while (size < bytes.size()) {
            const std::size_t got = reader_.read(bytes.data() + size, bytes.size() - size);
            if (got == 0) {
                break;
            }
            size += got;
        }
        bytes.resize(size);
        if (!isElf(bytes)) {
            return;
        }
        Subject subject;
        subject.name = name_ + ": " + path.substr(1);
        subject.path = path;
        subject.machine = requireMachine(bytes, subject.name);
        subject.root = root_;
        // Under its path before the next entry: a hard link to it can only come later in the archive.
        root_->addLibrary(path, subject.machine);
        subject.contents = readContents(bytes, subject.name);
        files_.push_back(std::move(subject));
    }

    /// Through an unnamed file: a library may be larger than memory has room for.
    ElfFile readContents(const std::string& header, const std::string& name) {
        const std::string directory = stream::temporaryDirectory();
        const stream::PlainDescriptor copy = stream::openUnnamedFile(directory);
        if (!copy) {
            throw systemFailure(directory, errno);
        }
        const auto write = [&](std::string_view bytes) {
            if (const int failure = stream::writeAll(copy.get(), bytes)) {
                throw systemFailure(name, failure);
            }
        };
        // The reader cannot go back: the bytes that addFile() took come first.
        write(header);
        std::vector<char> piece(kPieceBytes);
        for (std::size_t got = 0; (got = reader_.read(piece.data(), piece.size())) > 0;) {
            write({piece.data(), got});
        }
        return readElf(copy.get(), name);
    }

    std::string name_;
    stream::PackageReader reader_;
    std::shared_ptr<PackageRoot> root_;
    std::vector<Subject>& files_;
};

/// The ELF files of a package that is still to be built.
void addPayload(const std::vector<PackagedFile>& payload, std::vector<Subject>& files) {
    // Symlinks are kept but not followed here: machineAt() resolves them once all entries are known.
    const auto root = std::make_shared<PackageRoot>();
    for (const PackagedFile& file : payload) {
        Subject subject;
        subject.path = plainAbsolute("/" + file.path);
        if (!file.linkTarget.empty()) {
            root->addSymlink(subject.path, file.linkTarget);
            continue;
        }
        const std::string header = headerOf(file.source);
        if (isElf(header)) {
            subject.name = subject.diskPath = file.source;
            subject.machine = requireMachine(header, file.source);
            subject.root = root;
            root->addLibrary(subject.path, subject.machine);
            files.push_back(std::move(subject));
        }
    }
}

}  // namespace

Subjects findSubjects(const Request& request) {
    Subjects subjects;
    // The payload first: reports list files in this order, then inputs as they were given.
    addPayload(request.payload, subjects.files);
    bool agree = true;
    for (const std::string& input : request.inputs) {
        std::error_code failed;
        // A path that cannot be examined is not a directory here; headerOf() then reports why.
        if (fs::is_directory(input, failed)) {
            try {
                TreeWalk(input, subjects.files).walk();
            } catch (const fs::filesystem_error& e) {
                throw failure(ErrorKind::inputOutput, e.path1().string(), e.code().message());
            }
            continue;
        }
        const std::string header = headerOf(input);
        if (stream::startsWith(header, kPackageMagic)) {
            const std::string architecture = PackageWalk(input, request.reading, subjects.files).walk();
            if (architecture.empty()) {
                continue;  // a package for all architectures says nothing about the others
            }
            agree = agree && (subjects.architecture.empty() || architecture == subjects.architecture);
            subjects.architecture = architecture;
        } else if (isElf(header)) {
            subjects.files.push_back(fileSubject(input, header));
        } else {
            throw failure(ErrorKind::invalidInput, input, "is neither an ELF file nor a package");
        }
    }
    if (!agree) {
        subjects.architecture.clear();
    }
    return subjects;
}

}  // namespace bex::shlibs

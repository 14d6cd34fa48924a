#include "verbs/Strip.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "bex/shlibs/ElfSummary.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "verbs/Process.hpp"
#include "verbs/SharedLibrary.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using shlibs::ElfSummary;

namespace {

constexpr std::size_t directoryDigits = 2;  ///< of a build ID, as gdb looks for its file

/// By the library of shlibdeps, loaded at the first file: builds that do not strip need no libelf.
ElfSummary summarize(const std::string& path) {
    ElfSummary summary;
    functionOf<decltype(bexSummarizeElf)>("libbexshlibs.so.1", "bexSummarizeElf")(path, summary);
    return summary;
}

/// binutils' or llvm's program for files of that machine.
std::string programFor(const std::string& name, std::string multiarch) {
    if (multiarch == "i386-linux-gnu") {
        multiarch = "i686-linux-gnu";  // as binutils' packages name it
    }
    // The last one may be for this machine's files alone; it then fails, and says so.
    for (const std::string& candidate : {multiarch + "-" + name, "llvm-" + name, name}) {
        if (std::string program = findProgram(candidate); !program.empty()) {
            return program;
        }
    }
    throw stream::StreamError(stream::ErrorKind::inputOutput,
                              "can't strip: there is no " + name + ", install binutils");
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw systemError(path, "read its attributes", errno);
    }
    return status;
}

/// Last, since writing changes times and a change of owner clears set-id bits.
void giveAttributes(const std::string& path, const struct stat& status, mode_t mode) {
    const timespec times[] = {status.st_atim, status.st_mtim};
    if (chmod(path.c_str(), mode) != 0 || utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
        throw systemError(path, "set mode and times", errno);
    }
}

}  // namespace

StrippedFiles::~StrippedFiles() {
    std::error_code ignored;  // There is nobody left to tell of a temporary file that stays.
    if (!directory_.empty()) {
        fs::remove_all(directory_, ignored);
    }
}

/// Made when the first file is stripped: most packages have none.
const std::string& StrippedFiles::directory() {
    if (directory_.empty()) {
        const char* parent = std::getenv("TMPDIR");
        std::string name = std::string(parent != nullptr && *parent != '\0' ? parent : "/tmp") + "/bex-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw systemError(name, "make a temporary directory", errno);
        }
        directory_ = name;
    }
    return directory_;
}

std::string StrippedFiles::copyOf(const std::string& path) {
    if (!strips()) {
        return {};
    }
    const struct stat status = statusOf(path);
    if (!S_ISREG(status.st_mode)) {
        return {};
    }
    // Files that need no copy are remembered too, with "". References stay valid: strip() adds to other maps
    // alone.
    const auto [place, isNew] = copies_.try_emplace({status.st_dev, status.st_ino});
    if (isNew) {
        place->second = strip(path);
    }
    return place->second;
}

std::string StrippedFiles::strip(const std::string& path) {
    const ElfSummary summary = summarize(path);
    // Object files and archives are left alone: without symbols nothing could be linked with them.
    if (summary.kind == ElfSummary::Kind::other || !summary.hasSymbols) {
        return {};
    }
    // Without an ID a debugger would not find the file with the symbols, and they would be lost.
    if (kind_ == StripKind::dbgsym && summary.buildId.size() <= directoryDigits) {
        context_.console.note(stream::escapeForDisplay(path) + ": has no build ID and is not stripped");
        return {};
    }
    const struct stat status = statusOf(path);
    // copyOf() has added this file's place already, so that each number is used once.
    const std::string copy = directory() + "/" + std::to_string(copies_.size());
    std::vector<std::string> command = {programFor("strip", summary.multiarch),
                                        "--remove-section=.comment",
                                        "--remove-section=.note",
                                        "-o",
                                        copy,
                                        path};
    if (summary.kind == ElfSummary::Kind::library) {
        // A library keeps the symbols that programs are linked with; a program needs none.
        command.insert(command.begin() + 1, "--strip-unneeded");
    }
    runProgram(command);
    if (kind_ == StripKind::dbgsym) {
        // From the original, since the copy has nothing left to keep.
        const std::string debug = makeDebugFile(path, summary.buildId, summary.multiarch);
        runProgram({programFor("objcopy", summary.multiarch), "--add-gnu-debuglink=" + debug, copy});
    }
    if (keepOwner_ && chown(copy.c_str(), status.st_uid, status.st_gid) != 0) {
        throw systemError(copy, "set the owner", errno);
    }
    giveAttributes(copy, status, status.st_mode & 07777U);
    return copy;
}

std::string StrippedFiles::makeDebugFile(const std::string& path, const std::string& buildId,
                                         const std::string& multiarch) {
    // By build ID: two files with one ID are the same program, and one file describes both.
    std::string& debug = debugFiles_[buildId];
    if (debug.empty()) {
        // The link in the stripped file is to this name.
        const fs::path file = fs::path(directory()) / debugPathOf(buildId);
        fs::create_directories(file.parent_path());
        runProgram({programFor("objcopy", multiarch), "--only-keep-debug", "--compress-debug-sections", path,
                    file.string()});
        giveAttributes(file.string(), statusOf(path), 0644);
        debug = file.string();
    }
    return debug;
}

std::string debugPathOf(const std::string& buildId) {
    return "usr/lib/debug/.build-id/" + buildId.substr(0, directoryDigits) + "/" +
           buildId.substr(directoryDigits) + ".debug";
}

}  // namespace bex::tool

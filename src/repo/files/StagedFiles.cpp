#include "repo/files/StagedFiles.hpp"

#include <cstddef>
#include <vector>

#include "repo/base/Parallel.hpp"
#include "repo/files/Files.hpp"

namespace bex::repo {

namespace {

// Threads that wait for the disk and not for a processor: a journal writes what they ask for together.
constexpr unsigned kSyncingThreads = 8;
constexpr std::size_t kMostFiles = 64;  // each has two descriptors open

}  // namespace

void StagedFiles::write(const std::string& path, std::string_view bytes) {
    if (files_.size() == kMostFiles) {
        place();
    }
    files_.emplace_back(path, system_).write(bytes.data(), bytes.size());
    directories_.insert(stream::directoryOf(path));
}

void StagedFiles::place() {
    unsigned threads = 1;
    if (threads_ > 1) {
        threads = kSyncingThreads;
    }
    std::vector<Task> tasks;
    for (stream::AtomicFile& file : files_) {
        tasks.emplace_back([&file] { file.sync(); });
    }
    runAll(tasks, threads);
    for (stream::AtomicFile& file : files_) {
        file.place();
    }
    files_.clear();
    tasks.clear();
    for (const std::string& directory : directories_) {
        tasks.emplace_back([this, &directory] { syncDirectory(directory, system_); });
    }
    runAll(tasks, threads);
    directories_.clear();
}

}  // namespace bex::repo

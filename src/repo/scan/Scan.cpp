#include "bex/repo/Scan.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "repo/base/Failure.hpp"
#include "repo/scan/PackageFile.hpp"
#include "repo/scan/PackageSearch.hpp"
#include "repo/scan/ScanCache.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

// The threads wait for each other in these calls, and a person sees no more of them.
constexpr std::chrono::milliseconds kProgressStep{50};

unsigned threadsFor(const ScanOptions& options, std::size_t packages) {
    unsigned threads = options.threads;
    if (threads == 0) {
        threads = std::max(1U, std::thread::hardware_concurrency());
    }
    return static_cast<unsigned>(std::min<std::size_t>(threads, std::max<std::size_t>(packages, 1)));
}

/// The root as an absolute path without links, so that one directory has one name in the cache.
std::string canonicalRoot(const std::string& root) {
    std::error_code failure;
    const auto path = std::filesystem::canonical(root.empty() ? "." : root, failure);
    if (failure) {
        throw systemFailure(root, "open", failure.value());
    }
    return path.string();
}

/// One scan: threads take names off a list, and put what they find in the name's place.
class ScanRun {
public:
    explicit ScanRun(const ScanOptions& options) : options_(options), names_(findPackages(options)) {
        if (!options.cache.empty()) {
            cache_ = std::make_unique<ScanCache>(options.cache);
            root_ = canonicalRoot(options.root);
        }
        // Of its final size before threads start: a thread writes its own element, and none may move.
        results_.resize(names_.size());
    }

    ScanReport run() {
        const unsigned count = threadsFor(options_, names_.size());
        std::vector<std::thread> threads;
        // This thread works, too, so that one fewer is started.
        try {
            for (unsigned i = 1; i < count; ++i) {
                threads.emplace_back([this] { work(); });
            }
        } catch (const std::system_error&) {  // no more threads to be had: those that run do it all
        }
        work();
        for (std::thread& thread : threads) {
            thread.join();
        }
        // The threads have ended: from here on nothing needs the mutex.
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return report();
    }

private:
    struct Result {
        PackageRecord record;
        std::optional<stream::ErrorRecord> error;
    };

    void work() noexcept {
        try {
            PackageFileReader reader(options_.digests, options_.limits);
            // The counter gives each name to exactly one thread. The order in which they take them shows in
            // nothing.
            for (std::size_t i = next_++; i < names_.size() && !stopped_; i = next_++) {
                scanOne(i, reader);
            }
        } catch (...) {
            // Not about one package: a cancelled scan, or want of memory. It ends the scan for all threads.
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
            stopped_ = true;
        }
    }

    void scanOne(std::size_t index, PackageFileReader& reader) {
        const std::string& name = names_[index];
        Result& result = results_[index];
        try {
            result.record = recordFor(name, reader);
            // Not from the cache, whose key is the path on the disk: the name depends on the root of this scan.
            result.record.filename = name;
            // Records from the cache are checked like others: the file may have been edited.
            checkRecord(result.record, name);
        } catch (const StreamError& e) {
            result.error = e.record();
        }
        // Outside the try block: "cancelled" ends the scan and is not an error of this package.
        tellProgress(result.record.size, name);
    }

    PackageRecord recordFor(const std::string& name, PackageFileReader& reader) {
        const std::string path = diskPath(options_.root, name);
        if (cache_ == nullptr) {
            FileStamp stamp;
            return reader.read(path, name, stamp);
        }
        const std::string key = root_ + '/' + name;
        // A hit costs this one call: the package is not opened.
        FileStamp stamp = stampAt(path, name);
        if (auto found = cache_->find(key, stamp, options_.digests)) {
            ++fromCache_;
            return std::move(*found);
        }
        PackageRecord record = reader.read(path, name, stamp);
        cache_->put(key, stamp, record);
        return record;
    }

    void tellProgress(std::uint64_t bytes, const std::string& name) {
        // Held during the call, too, so that the caller's function need not be safe for several threads.
        const std::lock_guard lock(mutex_);
        progress_.bytesDone += bytes;
        progress_.entry = name;
        const auto now = std::chrono::steady_clock::now();
        const bool isLast = ++done_ == names_.size();
        if (!options_.progress || (now < nextCall_ && !isLast)) {
            return;
        }
        nextCall_ = now + kProgressStep;
        if (!options_.progress(progress_)) {
            throw StreamError(ErrorKind::cancelled, "cancelled");
        }
    }

    /// Takes records of files that are gone out of the cache, of the directories that were searched.
    void dropGone() {
        for (const std::string& input : options_.inputs) {
            const std::string directory = input.substr(0, input.find_last_not_of('/') + 1) + '/';
            const auto isBelow = [&](const std::string& name) { return stream::startsWith(name, directory); };
            const auto present = std::count_if(names_.begin(), names_.end(), isBelow);
            cache_->dropGone(root_ + '/' + directory, static_cast<std::size_t>(present));
        }
    }

    ScanReport report() {
        ScanReport report;
        report.fromCache = fromCache_;
        if (cache_ != nullptr) {
            dropGone();
            if (const std::string reason = cache_->finish(); !reason.empty()) {
                report.notes.push_back("went on without the cache: " + reason);
            }
        }
        // In the order of the names, whichever thread was first.
        for (Result& result : results_) {
            if (result.error) {
                report.errors.push_back(std::move(*result.error));
            } else {
                report.records.push_back(std::move(result.record));
            }
        }
        std::vector<stream::ErrorRecord> conflicts = settle(report.records, report.notes);
        std::move(conflicts.begin(), conflicts.end(), std::back_inserter(report.errors));
        return report;
    }

    const ScanOptions& options_;
    std::unique_ptr<ScanCache> cache_;  // null for none
    std::string root_;                  // as the cache knows it, wherever the scan is started
    const std::vector<std::string> names_;
    std::vector<Result> results_;  // beside names_; each is written by one thread
    std::atomic<std::size_t> next_{0};
    std::atomic<std::size_t> fromCache_{0};
    std::atomic<bool> stopped_{false};
    std::mutex mutex_;  // for what follows
    std::exception_ptr failure_;
    stream::Progress progress_;
    std::size_t done_ = 0;
    std::chrono::steady_clock::time_point nextCall_;
};

}  // namespace

ScanReport scan(const ScanOptions& options) {
    return ScanRun(options).run();
}

}  // namespace bex::repo

void bexScan(const bex::repo::ScanOptions& options, bex::repo::ScanReport& report) {
    report = bex::repo::scan(options);
}

void bexMergeShards(const std::vector<std::string>& paths, bex::repo::DigestChoice& digests,
                    bex::repo::ScanReport& report) {
    report = bex::repo::mergeShards(paths, digests);
}

void bexKeepNewest(bex::repo::ScanReport& report) {
    bex::repo::keepNewest(report.records, report.notes);
}

void bexWriteIndex(const std::vector<bex::repo::PackageRecord>& records, const bex::repo::TextSink& out) {
    bex::repo::writeIndex(records, out);
}

void bexWriteShard(const std::vector<bex::repo::PackageRecord>& records, bex::repo::DigestChoice digests,
                   const bex::repo::TextSink& out) {
    bex::repo::writeShard(records, digests, out);
}

#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "repo/scan/PackageFile.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace bex::repo {

/// What earlier scans found, in a SQLite file. A record counts as long as path, size, modification time and inode
/// are the same. Nothing but time depends on it: a cache that fails while it is used is left alone from then on,
/// and a note says why. Several threads, and several processes, may use one at once.
class ScanCache {
public:
    /// Opens the file, or makes it. Throws StreamError (`inputOutput`; `invalidInput`, code "not-a-cache") where
    /// it cannot be opened or is something else, which is left as it is.
    explicit ScanCache(const std::string& path);
    ~ScanCache();
    ScanCache(const ScanCache&) = delete;
    ScanCache& operator=(const ScanCache&) = delete;

    /// The record, complete but for its filename, where the cache has one with every chosen digest; digests that
    /// are not chosen are left out.
    std::optional<PackageRecord> find(const std::string& path, const FileStamp& stamp, DigestChoice digests);

    /// Keeps the record for later. A file that was modified in the last moment is not kept: it could change again
    /// without its time showing it.
    void put(const std::string& path, const FileStamp& stamp, const PackageRecord& record);

    /// Drops the records of files below the directory that are gone, where the cache has more of them than the
    /// `present` files that a scan of it has found. `directory` is an absolute path with "/" at its end.
    void dropGone(const std::string& directory, std::size_t present);

    /// Writes what is still in memory. Returns why the cache was given up, or "".
    std::string finish();

private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const noexcept;
    };
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    struct Entry {
        std::string path;
        FileStamp stamp;
        PackageRecord record;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

    Statement prepare(const char* sql);
    void run(const char* sql);
    std::int64_t number(const char* sql);
    void makeTables();
    void insert(const Entry& entry);
    void flush();
    std::vector<std::string> goneBelow(const std::string& directory, std::size_t present);
    template <typename Work>
    void guarded(Work work);

    std::string path_;
    std::mutex mutex_;
    std::unique_ptr<sqlite3, CloseDatabase> database_;  // before its statements, which end first
    Statement find_;
    Statement put_;
    std::vector<Entry> pending_;  // of the next transaction
    std::string failure_;
};

}  // namespace bex::repo

#include "repo/scan/ScanCache.hpp"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "repo/base/Failure.hpp"
#include "stream/system/System.hpp"

namespace bex::repo {

namespace {

// "bexc". SQLite keeps it in the file's header, where file(1) shows it.
constexpr std::int64_t kApplication = 0x62657863;
// Of the table and of the lines in it: to be raised where another record is made of the same package.
constexpr std::int64_t kFormat = 1;
// A transaction of so many records costs little more than one of one.
constexpr std::size_t kRecordsPerTransaction = 256;
constexpr int kBusyMilliseconds = 10000;
// Longer than the step of any clock that gives files their times, those of network file systems aside.
constexpr std::int64_t kUnsettledNs = 100000000;

// insert() binds the columns in this order.
constexpr const char* kTable =
    "CREATE TABLE packages (path TEXT PRIMARY KEY, size INTEGER, mtime_ns INTEGER, inode INTEGER, package TEXT, "
    "version TEXT, architecture TEXT, before TEXT, after TEXT, md5 TEXT, sha1 TEXT, sha256 TEXT, sha512 TEXT)";
// The device is not compared: its number may differ after the next start of the machine.
constexpr const char* kFind =
    "SELECT package, version, architecture, before, after, md5, sha1, sha256, sha512 FROM packages "
    "WHERE path = ?1 AND size = ?2 AND mtime_ns = ?3 AND inode = ?4";
constexpr const char* kPut =
    "INSERT OR REPLACE INTO packages VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)";

/// The statement can be used again, and holds nothing of the caller's, whatever happens to it.
class Use {
public:
    explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
    ~Use() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    /// The text must outlive this.
    void bind(const std::string& text) {
        sqlite3_bind_text64(statement_, ++bound_, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    void bind(std::int64_t number) { sqlite3_bind_int64(statement_, ++bound_, number); }
    void bind(const std::string& path, const FileStamp& stamp) {
        bind(path);
        bind(static_cast<std::int64_t>(stamp.size));
        bind(stamp.mtimeNs);
        bind(static_cast<std::int64_t>(stamp.inode));
    }

    int step() {
        read_ = 0;
        return sqlite3_step(statement_);
    }

    std::int64_t nextNumber() { return sqlite3_column_int64(statement_, read_++); }

    std::string nextText() {
        // In this order: the size is that of the text which the call before made.
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, read_));
        const int size = sqlite3_column_bytes(statement_, read_++);
        if (text == nullptr) {
            return {};
        }
        return {text, static_cast<std::size_t>(size)};
    }

private:
    sqlite3_stmt* statement_;
    int bound_ = 0;
    int read_ = 0;
};

std::int64_t nowNs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

/// Whether the digest is there if it is wanted; removes it if not.
bool settleDigest(std::string& digest, bool wanted) {
    if (!wanted) {
        digest.clear();
    }
    return !wanted || !digest.empty();
}

}  // namespace

void ScanCache::CloseDatabase::operator()(sqlite3* database) const noexcept {
    sqlite3_close(database);
}

void ScanCache::FinalizeStatement::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

ScanCache::ScanCache(const std::string& path) : path_(path) {
    sqlite3* opened = nullptr;
    // NOMUTEX: mutex_ keeps the threads apart already.
    const int status = sqlite3_open_v2(path.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    // Also after an error: SQLite gives a handle then, too, and it has to be closed.
    database_.reset(opened);
    if (status != SQLITE_OK) {
        throw systemFailure(path, "open", sqlite3_system_errno(opened));
    }
    sqlite3_busy_timeout(opened, kBusyMilliseconds);
    try {
        // An empty file becomes a cache. Any other database stays as it is, even where it has a table of our
        // name.
        if (number("SELECT count(*) FROM sqlite_master") != 0 && number("PRAGMA application_id") != kApplication) {
            throw failure(ErrorKind::invalidInput, "not-a-cache", path, "is a database, but not a cache of scans");
        }
        // Refused only while another process makes the file; then this one goes by the mode that it finds.
        sqlite3_exec(opened, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
        // In WAL mode a crash may lose the last transactions, but never the file. What is lost is read again.
        run("PRAGMA synchronous = NORMAL");
        makeTables();
        find_ = prepare(kFind);
        put_ = prepare(kPut);
    } catch (const StreamError&) {
        if (sqlite3_errcode(opened) == SQLITE_NOTADB) {
            throw failure(ErrorKind::invalidInput, "not-a-cache", path, "is not a cache of scans");
        }
        throw;
    }
}

ScanCache::~ScanCache() = default;

ScanCache::Statement ScanCache::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
        throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
    }
    return Statement(statement);
}

void ScanCache::run(const char* sql) {
    if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
    }
}

std::int64_t ScanCache::number(const char* sql) {
    const Statement statement = prepare(sql);
    if (sqlite3_step(statement.get()) != SQLITE_ROW) {
        throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
    }
    return sqlite3_column_int64(statement.get(), 0);
}

/// Two processes may be here at once: the second one waits, and finds the table made.
void ScanCache::makeTables() {
    // The lock comes before the question: with a deferred transaction both processes could find no table.
    run("BEGIN IMMEDIATE");
    if (number("PRAGMA user_version") != kFormat) {
        // A cache of another format is worth no conversion: the next scan fills it.
        run("DROP TABLE IF EXISTS packages");
        run(kTable);
        run(("PRAGMA application_id = " + std::to_string(kApplication)).c_str());
        run(("PRAGMA user_version = " + std::to_string(kFormat)).c_str());
    }
    run("COMMIT");
}

/// Does the work, unless the cache was given up before; gives it up where the work fails.
template <typename Work>
void ScanCache::guarded(Work work) {
    const std::lock_guard lock(mutex_);
    if (!failure_.empty()) {
        return;
    }
    try {
        work();
    } catch (const StreamError& e) {
        // The scan goes on without the cache. A transaction that is still open ends with the connection.
        failure_ = e.what();
    }
}

std::optional<PackageRecord> ScanCache::find(const std::string& path, const FileStamp& stamp,
                                             DigestChoice digests) {
    std::optional<PackageRecord> found;
    guarded([&] {
        Use use(find_.get());
        use.bind(path, stamp);
        const int status = use.step();
        if (status != SQLITE_ROW && status != SQLITE_DONE) {
            throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
        }
        if (status == SQLITE_ROW) {
            PackageRecord& record = found.emplace();
            for (std::string* text :
                 {&record.package, &record.version, &record.architecture, &record.before, &record.after,
                  &record.digests.md5, &record.digests.sha1, &record.digests.sha256, &record.digests.sha512}) {
                *text = use.nextText();
            }
            // The query compared it with the column.
            record.size = stamp.size;
        }
    });
    // A record without a wanted digest is no use: the package is read again, and put() replaces the row.
    if (found && settleDigest(found->digests.md5, digests.md5) &&
        settleDigest(found->digests.sha1, digests.sha1) && settleDigest(found->digests.sha512, digests.sha512)) {
        return found;
    }
    return std::nullopt;
}

void ScanCache::put(const std::string& path, const FileStamp& stamp, const PackageRecord& record) {
    // Another change within one step of the clock would leave the same time, and the old record would pass for
    // the new one.
    if (nowNs() - stamp.mtimeNs < kUnsettledNs) {
        return;
    }
    guarded([&] {
        pending_.push_back({path, stamp, record});
        if (pending_.size() == kRecordsPerTransaction) {
            flush();
        }
    });
}

void ScanCache::insert(const Entry& entry) {
    const PackageRecord& record = entry.record;
    Use use(put_.get());
    use.bind(entry.path, entry.stamp);
    for (const std::string* text :
         {&record.package, &record.version, &record.architecture, &record.before, &record.after,
          &record.digests.md5, &record.digests.sha1, &record.digests.sha256, &record.digests.sha512}) {
        use.bind(*text);
    }
    if (use.step() != SQLITE_DONE) {
        throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
    }
}

/// Other processes wait for a transaction, so nothing else is done within one.
void ScanCache::flush() {
    if (pending_.empty()) {
        return;
    }
    run("BEGIN IMMEDIATE");
    for (const Entry& entry : pending_) {
        insert(entry);
    }
    run("COMMIT");
    pending_.clear();
}

std::vector<std::string> ScanCache::goneBelow(const std::string& directory, std::size_t present) {
    // "0" is the character after "/": between them are the keys of everything below, which the index finds at
    // once.
    const std::string end = directory.substr(0, directory.size() - 1) + "0";
    const Statement count = prepare("SELECT count(*) FROM packages WHERE path >= ?1 AND path < ?2");
    Use counting(count.get());
    counting.bind(directory);
    counting.bind(end);
    std::vector<std::string> gone;
    if (counting.step() != SQLITE_ROW || counting.nextNumber() <= static_cast<std::int64_t>(present)) {
        return gone;
    }
    const Statement paths = prepare("SELECT path FROM packages WHERE path >= ?1 AND path < ?2");
    Use listing(paths.get());
    listing.bind(directory);
    listing.bind(end);
    while (listing.step() == SQLITE_ROW) {
        std::string path = listing.nextText();
        struct stat status = {};
        const bool isThere = stream::System::real().fstatat(AT_FDCWD, path.c_str(), &status, 0) == 0;
        if (!isThere && (errno == ENOENT || errno == ENOTDIR)) {
            gone.push_back(std::move(path));
        }
    }
    return gone;
}

void ScanCache::dropGone(const std::string& directory, std::size_t present) {
    guarded([&] {
        flush();
        const std::vector<std::string> gone = goneBelow(directory, present);
        if (gone.empty()) {
            return;
        }
        const Statement statement = prepare("DELETE FROM packages WHERE path = ?1");
        run("BEGIN IMMEDIATE");
        for (const std::string& path : gone) {
            Use use(statement.get());
            use.bind(path);
            if (use.step() != SQLITE_DONE) {
                throw failure(ErrorKind::inputOutput, "input-output", path_, sqlite3_errmsg(database_.get()));
            }
        }
        run("COMMIT");
    });
}

std::string ScanCache::finish() {
    guarded([this] { flush(); });
    return failure_;
}

}  // namespace bex::repo

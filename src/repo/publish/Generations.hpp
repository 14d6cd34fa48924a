#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "repo/files/Files.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The publications of a suite whose by-hash files still exist, the oldest first. A client that has read an older
/// InRelease finds the files that it names as long as they are listed here.
///
/// The file is a control file with a paragraph for each: when it was published, by the clock; its by-hash files
/// below the suite's directory; and packages' files that it is the first to do without. A last paragraph has the
/// packages' files that no generation has any more and that are still to be removed from the pool.
class Generations {
public:
    /// Reads the file of the suite; where there is none, there are no generations yet.
    Generations(const Layout& layout, const std::string& suite);

    bool empty() const noexcept { return generations_.empty(); }

    /// Appends one, unless the last one has the same files: then that one is published again.
    void append(std::int64_t now, const std::set<std::string>& files, const std::set<std::string>& drops);

    /// Forgets what no client reads any more: all but the last `keep`, and those that were replaced less than a
    /// quarter of an hour ago. What only those had is in unlisted() then.
    void expire(std::int64_t now, std::size_t keep);

    /// The packages' files that no generation has any more; another suite may. They are kept in the file until
    /// they are forgotten, so that a process that is killed before it removed them leaves the work to the next
    /// one.
    const std::set<std::string>& unlisted() const noexcept { return unlisted_; }
    void forgetUnlisted() { unlisted_.clear(); }

    /// The by-hash files of all that are left.
    std::set<std::string> files() const;

    /// The packages' files that an older generation still has and a newer one does without.
    std::set<std::string> drops() const;

    /// What the file has to say.
    std::string format() const;
    const std::string& path() const noexcept { return path_; }

    /// Replaces the file, unless it says this already.
    void write(System& system) const;

private:
    struct Generation {
        std::int64_t published = 0;
        std::set<std::string> files;
        std::set<std::string> drops;
    };

    std::string path_;
    std::vector<Generation> generations_;
    std::set<std::string> unlisted_;
};

}  // namespace bex::repo

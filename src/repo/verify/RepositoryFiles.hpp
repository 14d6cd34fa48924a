#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "bex/repo/Verify.hpp"
#include "repo/index/Release.hpp"

namespace bex::repo {

/// The files of a repository that is verified, wherever they are. Several threads may use it at once.
class RepositoryFiles {
public:
    RepositoryFiles(std::string root, const RepositoryCheck& check) : root_(std::move(root)), check_(check) {}

    /// Whether the files are in a directory of this machine, where names can be listed.
    bool isDirectory() const noexcept { return !check_.open; }
    const std::string& root() const noexcept { return root_; }

    /// Opens the file; null where there is none. `reason`, if not null, is given why.
    std::unique_ptr<stream::ForwardSource> open(const std::string& path, std::string* reason = nullptr) const;

    /// All of the file, which must not be longer than `limit` bytes; nothing where there is none. Throws
    /// StreamError
    /// (`limitExceeded`).
    std::optional<std::string> read(const std::string& path, std::uint64_t limit) const;

private:
    std::string root_;
    const RepositoryCheck& check_;
};

/// Passes a file's bytes on and sums them.
class SummedSource final : public stream::ForwardSource {
public:
    /// What is known when all has been read; shared, since a reader owns its source.
    struct Sum;

    /// Opens a file to be summed; null where it is not there, and `reason`, if not null, is given why.
    static std::shared_ptr<Sum> open(const RepositoryFiles& files, const std::string& path,
                                     std::string* reason = nullptr);

    explicit SummedSource(std::shared_ptr<Sum> sum);
    ~SummedSource() override;

    std::size_t read(char* buffer, std::size_t size) override;

    /// Reads what the reader left, or until there are more than `most` bytes. Call when the SummedSource is gone.
    static IndexedFile finish(Sum& sum, std::uint64_t most = std::numeric_limits<std::uint64_t>::max());

private:
    std::shared_ptr<Sum> sum_;
};

}  // namespace bex::repo

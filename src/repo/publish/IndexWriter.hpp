#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Files.hpp"
#include "repo/files/StagedFiles.hpp"
#include "repo/index/Release.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// Writes indexes that are to appear under the names of their digests, where no client looks for them yet.
/// Destroyed before keep(), it takes out again what has appeared.
class IndexWriter {
public:
    /// With `planOnly`, nothing is written. `files` must outlive this, and places what is written.
    IndexWriter(std::string suiteDirectory, bool planOnly, StagedFiles& files, System& system)
        : directory_(std::move(suiteDirectory)), planOnly_(planOnly), files_(files), system_(system) {}
    ~IndexWriter();
    IndexWriter(const IndexWriter&) = delete;
    IndexWriter& operator=(const IndexWriter&) = delete;

    /// Writes the bytes as an index of that path, unless they are there.
    void store(const std::string& index, const IndexedFile& file, std::string_view bytes);

    void keep() noexcept { made_.clear(); }

private:
    std::string directory_;
    bool planOnly_;
    StagedFiles& files_;
    System& system_;
    std::vector<std::string> made_;
};

}  // namespace bex::repo

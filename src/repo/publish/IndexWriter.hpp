#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Files.hpp"
#include "repo/index/Release.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// Writes indexes under the names of their digests, where no client looks for them yet. Destroyed before keep(),
/// it takes out again what it made.
class IndexWriter {
public:
    /// With `planOnly`, nothing is written.
    IndexWriter(std::string suiteDirectory, bool planOnly, System& system)
        : directory_(std::move(suiteDirectory)), planOnly_(planOnly), system_(system) {}
    ~IndexWriter();
    IndexWriter(const IndexWriter&) = delete;
    IndexWriter& operator=(const IndexWriter&) = delete;

    /// Writes the bytes as an index of that path, unless they are there, and returns what Release says of them.
    IndexedFile store(const std::string& index, std::string_view bytes);

    void keep() noexcept { made_.clear(); }

private:
    std::string directory_;
    bool planOnly_;
    System& system_;
    std::vector<std::string> made_;
};

}  // namespace bex::repo

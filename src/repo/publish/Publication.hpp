#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/publish/Generations.hpp"
#include "repo/publish/IndexWriter.hpp"
#include "repo/publish/Signer.hpp"
#include "repo/suite/Changes.hpp"
#include "repo/suite/PublishedSuite.hpp"

namespace bex::repo {

/// One publication of one suite, by whoever holds the repository's lock. The order is what keeps clients safe:
///
/// 1. the indexes that change, under the names of their digests, where nobody looks for them yet;
/// 2. the Release file and its signatures, in memory;
/// 3. the list of generations, so that nothing that clients may read is taken for a leftover;
/// 4. the indexes under their usual names, Release, Release.gpg;
/// 5. InRelease, or Release where nothing is signed: with this rename clients see the new suite;
/// 6. old by-hash files and the list of changes, which nobody needs any more.
///
/// Each file is synced before it gets its name, each directory before the next step.
class Publication {
public:
    Publication(const Layout& layout, const SuiteSettings& settings, const PublishOptions& options,
                System& system);

    /// Appends what it wrote and removed to the result.
    void run(PublishResult& result);

    /// Files of packages that this suite did without for so long that no client looks for them here.
    const std::set<std::string>& unlisted() const noexcept { return unlisted_; }

private:
    bool isCurrent() const;
    bool isDue() const;
    bool isSignatureCurrent() const;
    bool isStored(const std::string& index) const;
    bool isInPlace(const std::string& index, const IndexedFile& file) const;
    bool isTouched(const std::string& component, const std::string& architecture) const;

    std::set<std::string> wantedIndexes() const;
    std::vector<std::string> packagesIndexes(const std::string& index) const;

    void makeIndexes();
    void makePackages(const std::string& component, const std::string& architecture);
    void makeContents(const std::string& component, const std::string& architecture);
    StanzaList nextPackages(const std::string& component, const std::string& architecture) const;

    void describe();
    void requireLaterDate() const;
    void noteGeneration();
    void placeIndexes(PublishResult& result);
    void placeRelease(PublishResult& result);
    void place(const std::string& name, const std::string& bytes, PublishResult& result);
    void finish(PublishResult& result);
    void removeLeftovers(PublishResult& result);
    void removeByHash(const std::string& directory, const std::set<std::string>& kept, PublishResult& result);
    std::string below(const std::string& path) const { return directory_ + "/" + path; }
    std::string shown(const std::string& path) const { return "dists/" + settings_.suite + "/" + path; }

    const Layout& layout_;
    const SuiteSettings& settings_;
    const PublishOptions& options_;
    System& system_;
    const std::string directory_;
    const unsigned threads_;
    const std::int64_t date_;
    const PublishedSuite published_;
    const Changes changes_;
    IndexWriter writer_;
    Generations generations_;
    Release next_;
    std::string nextText_;
    Signatures signatures_;
    std::set<std::string> unlisted_;
};

}  // namespace bex::repo

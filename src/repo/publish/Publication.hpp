#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/publish/Contents.hpp"
#include "repo/publish/Generations.hpp"
#include "repo/publish/IndexWriter.hpp"
#include "repo/publish/Signer.hpp"
#include "repo/suite/Changes.hpp"
#include "repo/suite/PublishedSuite.hpp"

namespace bex::repo {

/// One publication of one suite, by whoever holds the repository's lock. The order is what keeps clients safe:
///
/// 1. the Release file and its signatures, in memory;
/// 2. the indexes that change, under the names of their digests, where nobody looks for them yet, and the list of
///    generations, so that nothing that clients may read is taken for a leftover;
/// 3. the indexes under their usual names and, where it is signed, Release and Release.gpg;
/// 4. InRelease, or Release where nothing is signed: with this rename clients see the new suite;
/// 5. old by-hash files and the list of changes, which nobody needs any more.
///
/// Each file is synced before it gets its name, and the directories of a step before the next one, but for the
/// last: what a crash brings back is removed again.
class Publication {
public:
    Publication(const Layout& layout, const SuiteSettings& settings, const PublishOptions& options,
                System& system);

    /// Appends what it wrote and removed to the result.
    void run(PublishResult& result);

    /// Files of packages that this suite did without for so long that no client looks for them here.
    const std::set<std::string>& unlisted() const noexcept { return generations_.unlisted(); }

    /// Call when those are removed that no other suite has: until then they stay noted.
    void forgetUnlisted();

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
    std::optional<ContentsBefore> contentsBefore(const std::string& index, const std::string& packages,
                                                 const std::string& component) const;
    StanzaList nextPackages(const std::string& component, const std::string& architecture) const;
    bool isStoredAs(const std::string& index) const;
    void pack(const StanzaList& packages, const std::string& index, bool areThere);

    void describe();
    void requireLaterDate() const;
    void noteGeneration();
    void placeIndexes(PublishResult& result);
    void placeRelease(PublishResult& result);
    void stage(const std::string& name, const std::string& bytes, PublishResult& result);
    void removeSignatures(PublishResult& result);
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
    StagedFiles files_;  // of the next step
    IndexWriter writer_;
    Generations generations_;
    Release next_;
    std::string nextText_;
    Signatures signatures_;
};

}  // namespace bex::repo

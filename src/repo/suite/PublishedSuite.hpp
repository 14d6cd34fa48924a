#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "repo/index/Release.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// A suite as clients see it: what its InRelease says or, where nothing is signed, its Release. Indexes are read
/// by their digests, so that a publication that was killed while it replaced files does not show.
class PublishedSuite {
public:
    /// Reads the suite, which may not have been published yet. Throws StreamError.
    PublishedSuite(const Layout& layout, const std::string& suite);

    bool exists() const noexcept { return exists_; }
    bool isSigned() const noexcept { return isSigned_; }
    const Release& release() const noexcept { return release_; }
    /// The text of `release()`: that of InRelease without its signature.
    const std::string& releaseText() const noexcept { return releaseText_; }

    /// The packages of one index; none where the suite has no such index. Throws StreamError (`damaged`) where the
    /// index is not what the Release file says.
    StanzaList packages(const std::string& component, const std::string& architecture) const;

    /// The packages of a component in all its architectures, each once.
    StanzaList packages(const std::string& component, const std::vector<std::string>& architectures) const;

    /// The bytes of one index as the Release file says, under its digest or its name; nothing where neither has
    /// them.
    std::optional<std::string> find(const std::string& index, const IndexedFile& expected) const;

private:
    std::string read(const std::string& index, const IndexedFile& expected) const;

    std::string directory_;
    bool exists_ = false;
    bool isSigned_ = false;
    std::string releaseText_;
    Release release_;
};

/// The compressions that an index may have, in the order in which they are read most quickly.
extern const std::vector<stream::Compression> kIndexCompressions;

}  // namespace bex::repo

#include "repo/suite/PublishedSuite.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "repo/files/Compressed.hpp"
#include "repo/files/Files.hpp"

namespace bex::repo {

using stream::Compression;

// The one that is unpacked fastest comes first: packages() takes the first that is listed.
const std::vector<Compression> kIndexCompressions = {Compression::zstd, Compression::gzip, Compression::xz,
                                                     Compression::none};

namespace {

// Release says how long the text is, and may be wrong. What is not used of the memory costs nothing.
constexpr std::uint64_t kLargestReserve = std::uint64_t{1} << 30;

}  // namespace

PublishedSuite::PublishedSuite(const Layout& layout, const std::string& suite) : directory_(layout.suite(suite)) {
    const std::string signedPath = directory_ + "/InRelease";
    const std::string plainPath = directory_ + "/Release";
    // InRelease first, as apt does: where a publication was killed, Release may be newer than what clients see.
    if (const auto text = readFile(signedPath)) {
        isSigned_ = true;
        releaseText_ = signedText(*text);
        if (releaseText_.empty()) {
            throw failure(ErrorKind::damaged, "release", signedPath, "holds no signed text");
        }
    } else if (auto plain = readFile(plainPath)) {
        releaseText_ = std::move(*plain);
    } else {
        return;
    }
    exists_ = true;
    release_ = Release::parse(releaseText_, isSigned_ ? signedPath : plainPath);
}

std::optional<std::string> PublishedSuite::find(const std::string& index, const IndexedFile& expected) const {
    // The by-hash file first: under the usual name there may be the index of a publication that was killed.
    const std::string byHash = directory_ + "/" + Layout::byHash(index, expected.sha256);
    for (const std::string& path : {byHash, directory_ + "/" + index}) {
        auto bytes = readFile(path);
        // The size is compared first: it costs nothing, and a digest of the wrong file is not needed.
        if (bytes && bytes->size() == expected.size && sha256Of(*bytes) == expected.sha256) {
            return bytes;
        }
    }
    return std::nullopt;
}

std::string PublishedSuite::read(const std::string& index, const IndexedFile& expected) const {
    auto bytes = find(index, expected);
    if (!bytes) {
        throw failure(ErrorKind::damaged, "index", directory_ + "/" + Layout::byHash(index, expected.sha256),
                      "is not what Release says, and neither is " + quoted(index));
    }
    return std::move(*bytes);
}

StanzaList PublishedSuite::packages(const std::string& component, const std::string& architecture) const {
    StanzaList list;
    const std::string index = Layout::packagesIndex(component, architecture);
    if (release_.files.count(index) == 0) {
        return list;
    }
    for (const Compression compression : kIndexCompressions) {
        const std::string path = index + std::string(stream::suffixOf(compression));
        const auto found = release_.files.find(path);
        // The uncompressed index is listed whether or not it is written.
        if (found == release_.files.end() || (compression == Compression::none && found->second.size == 0)) {
            continue;
        }
        const std::size_t expected = std::min(release_.files.at(index).size, kLargestReserve);
        std::string text = decompressed(read(path, found->second), compression, directory_ + "/" + path, expected);
        list.texts.push_back(std::make_shared<const std::string>(std::move(text)));
        list.stanzas = readStanzas(*list.texts.back(), directory_ + "/" + path);
        break;
    }
    return list;
}

StanzaList PublishedSuite::packages(const std::string& component,
                                    const std::vector<std::string>& architectures) const {
    StanzaList all;
    for (const std::string& architecture : architectures) {
        StanzaList one = packages(component, architecture);
        std::move(one.texts.begin(), one.texts.end(), std::back_inserter(all.texts));
        const std::size_t middle = all.stanzas.size();
        all.stanzas.insert(all.stanzas.end(), one.stanzas.begin(), one.stanzas.end());
        std::inplace_merge(all.stanzas.begin(), all.stanzas.begin() + static_cast<std::ptrdiff_t>(middle),
                           all.stanzas.end(), isBefore);
    }
    // Packages for "all" are in each architecture's index. The merged list is sorted, so that they are
    // neighbours.
    all.stanzas.erase(std::unique(all.stanzas.begin(), all.stanzas.end(), isSamePackage), all.stanzas.end());
    return all;
}

}  // namespace bex::repo

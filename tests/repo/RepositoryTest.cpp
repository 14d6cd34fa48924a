#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "bex/repo/Repository.hpp"
#include "bex/repo/Verify.hpp"
#include "bex/stream/PackageWriter.hpp"

namespace bex::repo {
namespace {

using test::TemporaryDirectory;

std::string makePackage(const TemporaryDirectory& folder, const std::string& name) {
    stream::PackageWriter package;
    package.control().set("Package", name);
    package.control().set("Version", "1");
    package.control().set("Architecture", "all");
    package.control().set("Maintainer", "Ann Lee <ann@example.org>");
    package.control().set("Description", "d");
    package.addBytes("text", "usr/share/" + name);
    package.write(folder / (name + ".deb"));
    return folder / (name + ".deb");
}

/// Everything that has threads, with more of them than a machine may have processors: reading packages, packing
/// and syncing indexes, Contents, verifying.
TEST(Repository, IsPublishedAndVerifiedBySeveralThreads) {
    const TemporaryDirectory folder;
    const std::string root = folder / "repo";
    SuiteSettings settings;
    settings.architectures = {"amd64", "arm64"};
    init(root, settings);
    AddOptions adding;
    adding.reading.threads = 4;
    PublishOptions publishing;
    publishing.compressions = {stream::Compression::gzip, stream::Compression::zstd, stream::Compression::xz};
    publishing.contents = true;
    publishing.threads = 4;
    for (const char* const lot : {"a", "b"}) {
        std::vector<std::string> packages;
        for (char c = 'a'; c < 'k'; ++c) {
            packages.push_back(makePackage(folder, std::string("p") + lot + c));
        }
        EXPECT_EQ(add(root, packages, adding).added.size(), packages.size());
        // Three forms of Packages and Contents, for two architectures, and Release.
        EXPECT_EQ(publish(root, publishing).written.size(), 9U);
    }
    RepositoryCheck check;
    check.threads = 4;
    std::vector<std::string> codes;
    for (const stream::Finding& finding : verifyRepository(root, check)) {
        codes.push_back(finding.code);
    }
    EXPECT_THAT(codes, testing::ElementsAre("unsigned"));
    EXPECT_EQ(list(root, {}).size(), 20U);
    EXPECT_TRUE(publish(root, publishing).written.empty());
}

}  // namespace
}  // namespace bex::repo

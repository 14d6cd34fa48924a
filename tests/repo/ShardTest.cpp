#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/repo/Scan.hpp"

namespace bex::repo {
namespace {

using test::failureOf;
using test::TemporaryDirectory;

PackageRecord recordOf(int package, int version, char digest, const std::string& filename) {
    PackageRecord record;
    record.package = "p" + std::to_string(package);
    record.version = std::to_string(version);
    record.architecture = "all";
    record.before = "Package: " + record.package + "\nVersion: " + record.version + "\nArchitecture: all\n";
    record.after = "Description: d\n";
    record.filename = filename;
    record.size = 1;
    record.digests.sha256 = std::string(64, digest);
    return record;
}

std::string shardOf(std::vector<PackageRecord> records) {
    std::vector<std::string> notes;
    settle(records, notes);
    std::string text;
    writeShard(records, {}, [&text](std::string_view piece) { text += piece; });
    return text;
}

/// A pool in which some packages are there under several names.
std::vector<PackageRecord> somePool(std::mt19937& random) {
    std::vector<PackageRecord> pool;
    for (int i = 0; i < 40; ++i) {
        const int package = static_cast<int>(random() % 6);
        const int version = static_cast<int>(random() % 12);
        pool.push_back(recordOf(package, version, 'a', "f" + std::to_string(random() % 100) + ".deb"));
    }
    return pool;
}

TEST(Shards, JoinToTheSameBytesInEveryGrouping) {
    std::mt19937 random(1);
    const TemporaryDirectory folder;
    for (int round = 0; round < 50; ++round) {
        std::vector<PackageRecord> pool = somePool(random);
        const std::string expected = shardOf(pool);
        std::shuffle(pool.begin(), pool.end(), random);
        std::vector<std::string> shards;
        for (auto from = pool.begin(); from != pool.end();) {
            const auto to = from + std::min<std::ptrdiff_t>(pool.end() - from, 1 + static_cast<int>(random() % 9));
            shards.push_back(folder.write("s" + std::to_string(shards.size()), shardOf({from, to})));
            from = to;
        }
        while (shards.size() > 1) {  // Some of them become one, at a place of its own, until one is left.
            std::shuffle(shards.begin(), shards.end(), random);
            const auto count = static_cast<std::ptrdiff_t>(2 + random() % (shards.size() - 1));
            const std::vector<std::string> group(shards.begin(), shards.begin() + count);
            DigestChoice digests;
            const ScanReport joined = mergeShards(group, digests);
            ASSERT_TRUE(joined.errors.empty());
            shards.erase(shards.begin() + 1, shards.begin() + count);
            std::string text;
            writeShard(joined.records, digests, [&text](std::string_view piece) { text += piece; });
            std::ofstream(shards.front()) << text;
        }
        EXPECT_EQ(folder.read(shards.front().substr(folder.path().string().size() + 1)), expected) << round;
    }
}

TEST(Shards, ThatWereCutOrChangedAreRefused) {
    const TemporaryDirectory folder;
    const std::string whole = shardOf({recordOf(1, 1, 'a', "a.deb"), recordOf(2, 1, 'b', "b.deb")});
    const auto merged = [&](const std::string& text) {
        const std::string path = folder.write("shard", text);
        return failureOf([&] {
            DigestChoice digests;
            mergeShards({path}, digests);
        });
    };
    EXPECT_EQ(merged(whole), "");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(merged(whole.substr(0, size)), "") << size;
        std::string changed = whole;
        changed[size] = static_cast<char>(changed[size] ^ 1);
        EXPECT_NE(merged(changed), "") << size;
    }
    EXPECT_NE(merged(whole + whole), "");
}

TEST(Records, OfOneVersionWithOtherBytesAreAnErrorAndNewerVersionsAreByArchitecture) {
    std::vector<std::string> notes;
    std::vector<PackageRecord> records = {recordOf(1, 2, 'b', "b.deb"), recordOf(1, 2, 'a', "a.deb")};
    const auto errors = settle(records, notes);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(stream::messageOf(errors.front()), "b.deb: p1 2 all has SHA-256 " + std::string(64, 'b') +
                                                     ", but a.deb is the same version with SHA-256 " +
                                                     std::string(64, 'a'));
    EXPECT_EQ(errors.front().code, "conflict");

    // As bytes "10" is before "9", as a version after it.
    records = {recordOf(1, 9, 'a', "9.deb"), recordOf(1, 10, 'b', "10.deb"), recordOf(1, 8, 'c', "8.deb")};
    records.back().architecture = "amd64";
    settle(records, notes);
    keepNewest(records, notes);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].filename, "10.deb");
    EXPECT_EQ(records[1].filename, "8.deb");
    EXPECT_THAT(notes, testing::ElementsAre("9.deb: left out: 10.deb has version 10"));
}

}  // namespace
}  // namespace bex::repo

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "repo/suite/Layout.hpp"
#include "repo/suite/Settings.hpp"

namespace bex::repo {
namespace {

using stream::StreamError;

TEST(Suite, HasNoWordsThatLeadOutOfTheRepositoryOrAddAField) {
    const SuiteSettings plain = withSuite({}, SuiteSettings()).front();
    EXPECT_EQ(plain.components, std::vector<std::string>{"main"});
    for (const char* const word : {"..", "../x", "a/b", "/etc", "a b", "a\nb"}) {
        SuiteSettings suite = plain;
        suite.suite = word;
        EXPECT_THROW(withSuite({}, suite), StreamError) << word;
        suite = plain;
        suite.components = {"main", word};
        EXPECT_THROW(withSuite({}, suite), StreamError) << word;
    }
    SuiteSettings suite = plain;
    suite.label = "one\nArchitectures: ../x";
    EXPECT_THROW(withSuite({}, suite), StreamError);
}

TEST(PoolPath, IsOfPlainWordsAndNoLongerThanANameOfAFile) {
    const PoolName name = {"main", "libaa", "aa", "2:1.0", "all", ".deb"};
    EXPECT_EQ(poolPath(name, "file"), "pool/main/liba/libaa/aa_1.0_all.deb");
    for (auto part : {&PoolName::source, &PoolName::package, &PoolName::version, &PoolName::architecture}) {
        PoolName wrong = name;
        wrong.*part = "../1";
        EXPECT_THROW(poolPath(wrong, "file"), StreamError);
    }
    PoolName longest = name;
    longest.package.assign(250, 'a');
    EXPECT_THROW(poolPath(longest, "file"), StreamError);
}

}  // namespace
}  // namespace bex::repo

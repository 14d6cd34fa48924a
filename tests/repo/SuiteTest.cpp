#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "repo/index/StanzaList.hpp"
#include "repo/suite/Layout.hpp"
#include "repo/suite/Settings.hpp"
#include "signing/Armor.hpp"

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

TEST(VersionOrder, PutsWhatIsNoVersionFirstAndHasNoCircle) {
    // "1:x" and "~" are no versions; as texts they would come between versions that are ordered otherwise.
    const std::vector<std::string> texts = {"",    "~",    "1:x",   "a",    "zz", "1.0", "1.0-0",
                                            "9.0", "10.0", "1:0.5", "10:1", "2~", "2",   "2.0\n"};
    const auto isVersion = [](const std::string& text) {
        return !text.empty() && compareVersions(text, "zz") > 0;
    };
    for (const std::string& a : texts) {
        for (const std::string& b : texts) {
            EXPECT_EQ(compareVersions(a, b) < 0, compareVersions(b, a) > 0) << a << " " << b;
            for (const std::string& c : texts) {
                EXPECT_FALSE(compareVersions(a, b) <= 0 && compareVersions(b, c) <= 0 && compareVersions(a, c) > 0)
                    << a << " " << b << " " << c;
            }
        }
    }
    EXPECT_TRUE(isVersion("9.0") && isVersion("1:0.5"));
    EXPECT_FALSE(isVersion("a") || isVersion("1:x"));
}

TEST(Armor, IsAWholeSignatureAndNothingElse) {
    const std::string begin = "-----BEGIN PGP SIGNATURE-----\n";
    const std::string end = "-----END PGP SIGNATURE-----\n";
    const struct {
        std::string text;
        bool accepted;
        const char* why;
    } cases[] = {
        {begin + "\nwgEE\n" + end, true, "a packet of one byte"},
        {begin + "Version: 1\nComment: x\n\nwgEE\n" + end, true, "headers"},
        {begin + "\r\nwgEE\r\n" + end + "\n\n", true, "other line ends, empty lines at the end"},
        {begin + "\nwgEE\n=hXle\n" + end, true, "its checksum"},
        {begin + "\niAABwgEE\n" + end, false, "an empty packet, and a byte that begins none"},
        {begin + "\niAEEwgEE\n" + end, true, "two packets, one of them in the old format"},
        {begin + "\nwgEE\n=AAAA\n" + end, false, "another checksum"},
        {begin + "\nwgIE\n" + end, false, "a packet that was cut"},
        {begin + "\nwgE\n" + end, false, "a group that was cut"},
        {begin + "\nxgEE\n" + end, false, "a packet that is not a signature"},
        {begin + "\n\n" + end, false, "no packet"},
        {begin + "\nwgEE\n", false, "no end"},
        {begin + "\nwgEE\n" + end + "more\n", false, "text after it"},
        {"more\n" + begin + "\nwgEE\n" + end, false, "text before it"},
        {begin + "\nwg*E\n" + end, false, "another character"},
        {"", false, "nothing"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(signing::isArmoredSignature(c.text), c.accepted) << c.why;
    }
}

}  // namespace
}  // namespace bex::repo

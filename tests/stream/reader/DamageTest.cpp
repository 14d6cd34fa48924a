#include <gtest/gtest.h>

#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

stream::ReadOptions oneThread() {
    stream::ReadOptions options;
    options.threads = 1;
    return options;
}

TEST(Damage, EveryPackageThatIsCutShortFails) {
    const std::string tar = tarOf(tarFolder("./") + tarFile("./x", "some text\n") + tarLink("./y", "x", '2'));
    const std::string data = packed(tar, stream::Compression::gzip, 1024);
    std::string package = arOf(headOf() + arMember("data.tar.gz", data));
    package.resize(package.size() - data.size() % 2);  // without the padding that its end may lack
    for (std::size_t size = 0; size < package.size(); ++size) {
        for (const Route route : {Route::file, Route::pipe}) {
            const std::string message = listingOf(package.substr(0, size), route, oneThread());
            ASSERT_EQ(message.compare(0, 7, "p.bex: "), 0) << "cut to " << size << " bytes gave " << message;
        }
        ASSERT_FALSE(findingsOf(package.substr(0, size), oneThread()).empty()) << "cut to " << size;
    }
}

/// Without a checksum around it the tar archive's own checks are all there is.
TEST(Damage, EveryFlippedByteOfHeadersFailsOrChangesNothing) {
    const std::string header = tarFile("./x");
    const std::string package = arOf(headOf() + arMember("data.tar", tarOf(header)));
    const std::string sound = listingOf(package);
    const std::size_t first = package.size() - tarOf(header).size();
    std::size_t passed = 0;
    for (std::size_t at = 0; at < first + header.size(); ++at) {
        std::string flipped = package;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << at % 8));
        const std::string listing = listingOf(flipped, at % 2 == 0 ? Route::file : Route::pipe, oneThread());
        const bool failed = listing.compare(0, 7, "p.bex: ") == 0;
        ASSERT_TRUE(failed || listing == sound) << at << ": " << listing;
        passed += failed || at < first ? 0 : 1;
    }
    EXPECT_LE(passed, 3U) << "a leading zero and the fillings of the checksum may be blanks or not";
}

}  // namespace
}  // namespace bex::test

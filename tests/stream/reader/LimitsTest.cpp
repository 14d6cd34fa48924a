#include <gmock/gmock.h>

#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

using stream::Limits;
using stream::ReadOptions;

TEST(Limits, EachIsNamedWhenItIsExceededAndCanBeRaised) {
    const std::string at = "p.bex: member \"data.tar.gz\": ";
    const std::string mib(std::size_t{1} << 20, 'x');
    const auto sparse = [](const std::string& size) {
        return withPax({{"GNU.sparse.map", "0,1"}, {"GNU.sparse.size", size}}, tarFile("./x", "a"));
    };
    std::string many;
    for (int i = 0; i < 11; ++i) {
        many += tarFile("./" + std::to_string(i));
    }
    const struct {
        std::string package;
        void (*tighten)(Limits&);
        std::string message;
    } cases[] = {
        {packageOf("", tarFile("./postinst", mib)), [](Limits& l) { l.controlBytes = 1 << 20; },
         "p.bex: member \"control.tar.gz\": unpacks to more than 1048576 bytes (the limits controlBytes and "
         "md5sumsBytes)"},
        {packageOf("", tarFile("./md5sums", mib)),
         [](Limits& l) { l.controlBytes = 1 << 19, l.md5sumsBytes = 1 << 18; },
         "p.bex: member \"control.tar.gz\": unpacks to more than 786432 bytes (the limits controlBytes and "},
        {packageOf(tarFile("./x", mib)), [](Limits& l) { l.expansionFreeBytes = 0, l.expansionRatio = 10; },
         at + "unpacks to more than "},
        {packageOf(sparse("4000000")), [](Limits& l) { l.expansionFreeBytes = 1 << 20, l.expansionRatio = 1; },
         at + "unpacks to more than 1048576 bytes (the limits expansionRatio and expansionFreeBytes)"},
        {packageOf(many), [](Limits& l) { l.entries = 10; },
         at + "more than 10 entries and directories above them (the limit entries)"},
        {packageOf(tarFile("./a/b/c/d") + tarFile("./e")), [](Limits& l) { l.entries = 3; },
         at + "more than 3 entries and directories above them (the limit entries)"},
        {packageOf(withLongName('L', std::string(200, 'n'), tarFile("./x"))), [](Limits& l) { l.nameBytes = 199; },
         at + "extended header of 201 bytes; the limit nameBytes allows 200"},
        {packageOf(withPax({{"linkpath", std::string(200, 'n')}}, tarLink("./x", "y", '2'))),
         [](Limits& l) { l.nameBytes = 199; },
         at + "name or link target of 200 bytes; the limit nameBytes allows 199"},
        {packageOf(withPax({{"comment", std::string(2000, 'n')}}, tarFile("./x"))),
         [](Limits& l) { l.extendedHeaderBytes = 2000; },
         at + "extended header of 2014 bytes; the limit extendedHeaderBytes allows 2000"},
        {packageOf(withPax({{"GNU.sparse.major", "1"}, {"GNU.sparse.minor", "0"}}, tarFile("./x", "262145\n0\n"))),
         [](Limits&) {},
         "p.bex: ./x: sparse map that is longer than the limit extendedHeaderBytes, 1048576 bytes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        ReadOptions tight;
        c.tighten(tight.limits);
        const std::string message = listingOf(c.package, Route::file, tight);
        EXPECT_EQ(message.substr(0, c.message.size()), c.message);
        EXPECT_THAT(findingsOf(c.package, tight), testing::Contains(testing::StartsWith("limit|")));
        EXPECT_EQ(listingOf(c.package, Route::pipe, tight), message);
    }
    ReadOptions listing;  // md5sums does not count where it fits its own
    listing.limits.controlBytes = 1 << 19;
    const std::string listed = packageOf("", tarFile("./md5sums", mib));
    EXPECT_EQ(listingOf(listed, Route::file, listing), listingOf(listed));
    ReadOptions wide;
    wide.limits.nameBytes = std::size_t{1} << 19;
    const std::string package = packageOf(withLongName('L', std::string(100000, 'n'), tarFile("./x")));
    EXPECT_NE(listingOf(package).find("nameBytes allows 65537"), std::string::npos);
    EXPECT_NE(listingOf(package, Route::file, wide).find("has a component of"), std::string::npos);
}

}  // namespace
}  // namespace bex::test

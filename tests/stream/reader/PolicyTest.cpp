#include <gtest/gtest.h>

#include "TemporaryDirectory.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

TEST(Policy, RefusesInListingAndInExtractionWithTheSameTextAndLeavesNothingOutside) {
    const std::string longName(256, 'n');
    const struct {
        std::string entries;
        std::string message;
    } cases[] = {
        {tarFile("../\x1b[31m\n"), "../\\x1b[31m\\n: contains \"..\""},
        {tarFile("/x"), "/x: is absolute"},
        {tarLink("./s", "..", '2') + tarFile("./s/x"), "./s/x: is below an entry that is not a directory"},
        {tarFile("./f") + tarFile("f"), "f: is in the package twice"},
        {tarFile("./d/f") + tarFile("./d"), "./d: is in the package twice"},
        {tarLink("./h", "../../etc/passwd", '1'),
         "./h: is a hard link to \"../../etc/passwd\", which leads out of the package"},
        {tarFile("./etc/x") + tarLink("./h", "/etc/x", '1'),
         "./h: is a hard link to \"/etc/x\", which leads out of the package"},
        {tarLink("./h", "./later", '1') + tarFile("./later"),
         "./h: is a hard link to \"./later\", which is not an earlier file of the package"},
        {tarLink("./s", "", '2'), "./s: is a symlink without a target"},
        {tarLink("./x", "", '4'), "./x: is a device"},
        {tarLink("./x", "", '6'), "./x: is a FIFO"},
        {tarLink("./x", "", 'Z'), "./x: is an entry of unknown type"},
        {tarFile("."), ".: names the package's root, but is not a directory"},
        {tarLink("./s/", "x", '2'), "./s/: ends with \"/\", but is not a directory"},
        {withLongName('L', longName, tarFile("./x")), longName + ": has a component of more than 255 bytes"},
        {withPax({{"mtime", "-9223372036854775807"}}, tarFile("./x")),
         "./x: has a time that no calendar has: -9223372036854775807"},
        {withPax({{"uid", "4294967295"}}, tarFile("./x")), "./x: has an owner or group beyond 4294967294"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const std::string bytes = packageOf(tarFolder("./") + c.entries);
        const std::string message = "p.bex: " + c.message;
        const TemporaryDirectory folder;
        EXPECT_EQ(listingOf(bytes), message);
        EXPECT_EQ(listingOf(bytes, Route::pipe), message);
        EXPECT_EQ(reading(bytes, Route::file, [&](auto& reader) { reader.extract(folder / "out"); }), message);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1) << "only out/";
    }
}

TEST(Policy, ControlMembersAreRegularFilesInNoFolder) {
    const std::string at = "p.bex: member \"control.tar.gz\": ";
    EXPECT_EQ(listingOf(packageOf("", tarLink("./x", "./control", '1'))), at + "./x: is not a regular file");
    EXPECT_EQ(listingOf(packageOf("", tarFile("./d/x"))), at + "./d/x: is in a directory of the control archive");
    EXPECT_EQ(listingOf(arOf(arMember("debian-binary", "2.0\n") + arMember("control.tar", tarOf("")) +
                             arMember("data.tar", tarOf("")))),
              "p.bex: member \"control.tar\": no file \"control\" in it");
}

}  // namespace
}  // namespace bex::test

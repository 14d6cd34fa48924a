#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Failure.hpp"
#include "HandMade.hpp"
#include "TemporaryDirectory.hpp"

namespace bex::test {
namespace {

/// What extract() says of the package, and what it left below its destination.
std::string extracting(const std::string& bytes, const TemporaryDirectory& folder) {
    return reading(bytes, Route::file, [&](stream::PackageReader& reader) { reader.extract(folder / "out"); });
}

std::string typed(char type) {
    TarFields fields;
    fields.name = "./x";
    fields.type = type;
    return tarEntry(fields);
}

std::string dated(const std::string& mtime, const std::string& uid = "0000000") {
    TarFields fields;
    fields.name = "./x";
    fields.mtime = mtime;
    fields.uid = uid;
    return tarEntry(fields);
}

TEST(Policy, RefusesInListingAndInExtractionWithTheSameTextAndLeavesNothingOutside) {
    const std::string longName(256, 'n');
    const struct {
        std::string entries;
        std::string message;
    } cases[] = {
        {tarFile("../x"), "../x: has \"..\" in it"},
        {tarFile("./a/../../x"), "./a/../../x: has \"..\" in it"},
        {tarFolder("./a/.."), "./a/../: has \"..\" in it"},
        {tarFile("/x"), "/x: is absolute"},
        {withLongName('L', "./../x", tarFile("./x")), "./../x: has \"..\" in it"},
        {withPax({{"path", "../x"}}, tarFile("./x")), "../x: has \"..\" in it"},
        {withPax({{"path", "/x"}}, tarFile("./x")), "/x: is absolute"},
        {tarLink("./s", "..", '2') + tarFile("./s/x"), "./s/x: stands below an entry that is no directory"},
        {tarFile("./f") + tarFolder("./f/d"), "./f/d/: stands below an entry that is no directory"},
        {tarFile("./f") + tarFile("./f/a/b/c"), "./f/a/b/c: stands below an entry that is no directory"},
        {tarFile("./f") + tarFile("f"), "f: is in the package twice"},
        {tarFile("./f") + tarFolder("./f"), "./f/: is in the package twice"},
        {tarFolder("./d") + tarLink("./d", "/", '2'), "./d: is in the package twice"},
        {tarFile("./d/f") + tarFile("./d"), "./d: is in the package twice"},
        {tarFile("./d/f") + tarFile("./e") + tarFile("./d//./f"), "./d//./f: is in the package twice"},
        {tarLink("./h", "../../etc/passwd", '1'),
         "./h: is a hard link to \"../../etc/passwd\", which leads out of the package"},
        {tarFile("./etc/x") + tarLink("./h", "/etc/x", '1'),
         "./h: is a hard link to \"/etc/x\", which leads out of the package"},
        {tarLink("./h", "./later", '1') + tarFile("./later"),
         "./h: is a hard link to \"./later\", which is no earlier file of the package"},
        {tarFolder("./d") + tarLink("./h", "./d", '1'),
         "./h: is a hard link to \"./d\", which is no earlier file of the package"},
        {tarLink("./s", "x", '2') + tarLink("./h", "s", '1'),
         "./h: is a hard link to \"s\", which is no earlier file of the package"},
        {tarLink("./s", "", '2'), "./s: is a symlink without a target"},
        {typed('3'), "./x: is a device"},
        {typed('4'), "./x: is a device"},
        {typed('6'), "./x: is a FIFO"},
        {typed('7'), "./x: is an entry of unknown type"},
        {typed('Z'), "./x: is an entry of unknown type"},
        {tarFile("."), ".: names the package's root, but is no directory"},
        {tarLink("./s/", "x", '2'), "./s/: ends with \"/\", but is no directory"},
        {withLongName('L', "./" + longName, tarFile("./x")),
         "./" + longName + ": has a component of more than 255 bytes"},
        {dated({"\x80\0\0\0\x7f\xff\xff\xff\xff\xff\xff\xff", 12}),
         "./x: has a time that no calendar has: 9223372036854775807"},
        {withPax({{"mtime", "-99999999999999999999"}}, tarFile("./x")),
         "./x: has a time that no calendar has: -9223372036854775807"},
        {dated("0", {"\x80\0\0\0\xff\xff\xff\xff", 8}), "./x: has an owner or group beyond 4294967294"},
        {dated("0", std::string(8, '\xff')), "./x: has an owner or group beyond 4294967294"},
        {tarFile("../\x1b[31m\n"), "../\\x1b[31m\\n: has \"..\" in it"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const std::string bytes = packageOf(tarFolder("./") + c.entries);
        const std::string message = "p.bex: " + c.message;
        const TemporaryDirectory folder;
        EXPECT_EQ(listingOf(bytes), message);
        EXPECT_EQ(listingOf(bytes, Route::pipe), message);
        EXPECT_EQ(extracting(bytes, folder), message);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1) << "only out/";
    }
}

TEST(Policy, TakesWhatIsHarmless) {
    const std::string deep = [] {
        std::string path = ".";
        for (int i = 0; i < 1000; ++i) {
            path += "/d";
        }
        return path;
    }();
    const struct {
        std::string entries;
        const char* lastPath;
        const char* why;
    } cases[] = {
        {tarFolder("./") + tarFolder("./d") + tarFolder("./d/") + tarFile("./d/x"), "./d/x", "a folder twice"},
        {tarFile("./d/x") + tarFolder("./d"), "./d/", "a folder behind what is in it"},
        {tarFile("usr/x"), "usr/x", "no leading ./"},
        {tarFile("./..x/...") + tarFile("./x.."), "./x..", "dots that are no .."},
        {tarLink("./s", "../../../etc/passwd", '2'), "./s", "a symlink out of the package is data"},
        {tarLink("./s", "/etc/passwd", '2'), "./s", "an absolute one, too"},
        {tarFile("./f") + tarLink("./h", "f", '1') + tarLink("./i", "./h", '1'), "./i",
         "a hard link to a hard link"},
        {tarFile("./a\nb"), "./a\nb", "a newline in a name"},
        {withLongName('L', deep, tarFile("x")), deep.c_str(), "a thousand levels"},
        {withPax({{"path",
                   "./Gr\xc3\xbc\xc3\x9f"
                   "e"}},
                 tarFile("./x")),
         "./Gr\xc3\xbc\xc3\x9f"
         "e",
         "UTF-8 in a pax header, whatever the locale"},
        {tarFile("./\xff\xfe"), "./\xff\xfe", "bytes that are no UTF-8"},
        {dated({"\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff", 12}), "./x", "a second before 1970"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const std::string failure = reading(packageOf(c.entries), Route::file, [&](stream::PackageReader& reader) {
            stream::Entry entry;
            std::string last;
            while (reader.next(entry)) {
                last = entry.path;
            }
            EXPECT_EQ(last, c.lastPath);
        });
        EXPECT_EQ(failure, "");
    }
}

TEST(Policy, ControlMembersAreRegularFilesInNoFolderEachOnce) {
    const std::string control = tarFile("./control", kControlText);
    const struct {
        std::string entries;
        std::string message;
    } cases[] = {
        {tarFile("./md5sums"), "no file \"control\" in it"},
        {tarLink("./control", "/etc/hostname", '2'), "./control: is no regular file"},
        {tarFolder("./control"), "./control/: is no regular file"},
        {tarFile("./x", "Package: x\n") + tarLink("./control", "./x", '1'), "./control: is no regular file"},
        {control + control, "./control: is in the package twice"},
        {control + tarFile("control"), "control: is in the package twice"},
        {control + tarFile("./d/x"), "./d/x: stands in a folder of the control archive"},
        {control + tarFile("../x"), "../x: has \"..\" in it"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const std::string bytes = arOf(arMember("debian-binary", "2.0\n") +
                                       arMember("control.tar.gz", gzipOf(tarOf(tarFolder("./") + c.entries))) +
                                       arMember("data.tar.gz", gzipOf(tarOf(""))));
        EXPECT_EQ(listingOf(bytes), "p.bex: member \"control.tar.gz\": " + c.message);
    }
}

}  // namespace
}  // namespace bex::test

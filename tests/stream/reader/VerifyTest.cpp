#include "bex/stream/Verify.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "Failure.hpp"
#include "HandMade.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/control/Md5.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string md5Of(const std::string& bytes) {
    stream::Md5 sum;
    sum.update(bytes.data(), bytes.size());
    return sum.hexDigest();
}

TEST(Verify, EachFaultOfAnEntryOrListHasItsCode) {
    const std::string x = tarFile("./x", "x");
    const std::string sum = md5Of("x");
    const std::string wrong = md5Of("y");
    const auto listed = [&](const std::string& sums) { return tarFile("./md5sums", sums); };
    const struct {
        std::string payload;
        std::string control;
        std::vector<std::string> findings;
    } cases[] = {
        {x,
         listed(wrong + "  x\n"),
         {"md5-mismatch|data.tar.gz|./x|has MD5 sum " + sum + ", not " + wrong + " as in md5sums"}},
        {x + tarLink("./h", "x", '1'),
         listed(wrong + "  x\n" + wrong + "  h\n"),
         {"md5-mismatch|data.tar.gz|./x|has MD5 sum " + sum + ", not " + wrong + " as in md5sums",
          "md5-mismatch|data.tar.gz|./h|has MD5 sum " + sum + ", not " + wrong + " as in md5sums"}},
        {x + tarFolder("./d"),
         listed(sum + "  x\n" + sum + "  gone\n" + sum + "  d\n"),
         {"md5-missing|control.tar.gz|md5sums|\"d\" is no file of the payload",
          "md5-missing|control.tar.gz|md5sums|\"gone\" is no file of the payload"}},
        {x + tarFile("./y"), listed(sum + "  x\n"), {"md5-unlisted|data.tar.gz|./y|is not in md5sums"}},
        {x, listed(sum + "  x\n" + sum + "  ./x\n"), {"md5-doubled|control.tar.gz|md5sums|\"x\" is there twice"}},
        {x, listed("rubbish\n"), {"md5-syntax|control.tar.gz|./md5sums|"}},
        {x,
         tarFile("./conffiles", "/gone\nx\n/x\n/x\nremove-on-upgrade /y\n"),
         {"conffile-path|control.tar.gz|conffiles|\"x\" is no absolute path",
          "conffile-doubled|control.tar.gz|conffiles|\"/x\" is there twice",
          "conffile-missing|control.tar.gz|conffiles|\"/gone\" is not in the payload"}},
        {x + tarLink("./s", "x", '2'),
         tarFile("./conffiles", "/s\nremove-on-upgrade /x\n"),
         {"conffile-type|control.tar.gz|conffiles|\"/s\" is no regular file",
          "conffile-missing|control.tar.gz|conffiles|\"/x\" is to be removed, but in the payload"}},
        {withPax({{"mtime", "1e9"}, {"uid", "4294967295"}, {"uname", "\xe2\x80\xae"}}, tarFile("./\x1b[2J")) +
             withPax({{"mtime", "999999999999"}}, x),
         "",
         {"pax-header|data.tar.gz|./\\x1b[2J|has an extended header (pax), which dpkg does not read",
          "owner-range|data.tar.gz|./\\x1b[2J|has an owner or group beyond 4294967294",
          "path-characters|data.tar.gz|./\\x1b[2J|has a name or target that programs show differently",
          "owner-characters|data.tar.gz|./\\x1b[2J|has an owner or group that programs show differently",
          "pax-header|data.tar.gz|./x|has an extended header (pax), which dpkg does not read",
          "time-range|data.tar.gz|./x|has a time that no calendar has: 999999999999"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.findings.front());
        const std::vector<std::string> found = findingsOf(packageOf(c.payload, c.control));
        ASSERT_EQ(found.size(), c.findings.size()) << testing::PrintToString(found);
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i].substr(0, found[i].back() == '|' ? std::string::npos : c.findings[i].size()),
                      c.findings[i]);
        }
    }
}

TEST(Verify, EndsWhereFindingsWouldFillMemory) {
    std::string conffiles;
    while (conffiles.size() < 300000) {
        conffiles += "x\n";
    }
    const std::vector<std::string> found = findingsOf(packageOf("", tarFile("./conffiles", conffiles)));
    EXPECT_EQ(found.size(), 100001U);
    EXPECT_EQ(found.back().substr(0, 6), "limit|");
}

TEST(Verify, GoesOnBehindABrokenStructureAndListsAll) {
    const std::string version = arMember("debian-binary", "2.0\n");
    const std::string control = headOf().substr(version.size());
    const std::string data = arMember("data.tar.gz", gzipOf(tarOf(tarFile("../x", "x"))));
    const std::string parent = "path-parent|data.tar.gz|../x|has \"..\" in it";
    std::string damaged = gzipOf(tarOf(tarFile("../x", "x")));
    damaged[damaged.size() - 8] = static_cast<char>(damaged[damaged.size() - 8] ^ 1);
    EXPECT_THAT(findingsOf(arOf(arMember("debian-binary", "3.0\n") + data + control + arMember("more", "x"))),
                ElementsAre("format-version|debian-binary||format version \"3.0\\n\" is not supported; 2.0 is",
                            "member-order|data.tar.gz||stands before the control member",
                            "member-order|control.tar.gz||stands behind \"data.tar.gz\"",
                            "member-unknown|more||is not known and is read by nobody", parent));
    EXPECT_THAT(findingsOf(arOf(version + data)),
                ElementsAre("member-order|data.tar.gz||stands before the control member",
                            "member-missing|||no control member", parent));
    EXPECT_THAT(findingsOf(arOf(version + control + arMember("data.tar.gz", damaged))),
                ElementsAre("member-damaged|data.tar.gz||gzip member at byte 0: wrong checksum"));
    EXPECT_THAT(findingsOf(arOf(version + arMember("control.tar.gz", "rubbish") + data)),
                ElementsAre("member-damaged|control.tar.gz||is no gzip stream", parent));
    EXPECT_THAT(
        findingsOf(arOf(version + arMember("control.tar.bz2", bzip2Of(tarOf(tarFile("control", "x")))) + data)),
        ElementsAre("member-compression|control.tar.bz2||dpkg-deb reads no control member that is compressed with "
                    "bzip2",
                    testing::StartsWith("control-syntax|control.tar.bz2|control|control:1:"), parent));
    EXPECT_THAT(
        findingsOf(arOf(version + control + arMember("data.tar", tarFile("./x") + std::string(512, '\0')))),
        ElementsAre("tar-end|data.tar||ends after one block of zeros instead of two"));
    EXPECT_THAT(findingsOf(arOf(version + control + arMember("data.tar", tarOf("") + tarFile("./x")))),
                ElementsAre("tar-trailing|data.tar||bytes behind the end marks, which are never extracted"));
}

TEST(Verify, ListsEveryFaultOfTheFields) {
    const std::string text = "Package: Tool\nVersion: 1 0\nArchitecture: all\nDescription: d\n";
    const std::string package = arOf(arMember("debian-binary", "2.0\n") +
                                     arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", text)))) +
                                     arMember("data.tar.gz", gzipOf(tarOf(""))));
    const std::vector<std::string> found = findingsOf(package);
    EXPECT_EQ(found.size(), 3U) << testing::PrintToString(found);
    for (const std::string& line : found) {
        EXPECT_THAT(line, testing::StartsWith("field|control.tar.gz|./control|"));
    }
}

TEST(Verify, ThrowsOnlyForWhatIsNotThePackagesFault) {
    const TemporaryDirectory folder;
    EXPECT_EQ(failureOf([&] { stream::verify(folder / "none.bex"); }),
              (folder / "none.bex") + ": can't open: No such file or directory");
    EXPECT_EQ(failureOf([&] { stream::verify(folder.path().string()); }),
              folder.path().string() + ": can't read: Is a directory");
    stream::ReadOptions options;
    options.progress = [](const stream::Progress&) { return false; };
    const std::string path = folder.write("p.bex", soundPackage());
    EXPECT_EQ(failureOf([&] { stream::verify(path, options); }), path + ": cancelled");
}

}  // namespace
}  // namespace bex::test

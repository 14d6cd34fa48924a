#include "bex/stream/Verify.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

#include "stream/control/Md5.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;

TEST(Verify, ListsEveryFaultOfEntriesAndLists) {
    const std::string sum = "9dd4e461268c8034f5c8564e155c67a6";
    const std::string wrong = "415290769594460e2e485922904f345d";
    const std::string payload =
        tarFile("./x", "x") + tarLink("./h", "x", '1') + tarFolder("./d") + tarFile("./y") +
        withPax({{"mtime", "9"}, {"uid", "4294967295"}, {"uname", "\xe2\x80\xae"}}, tarFile("./\x1b[2J"));
    const std::string sums =
        wrong + "  x\n" + wrong + "  h\n" + sum + "  gone\n" + sum + "  d\n" + wrong + "  ./x\n";
    const std::string conffiles = "/gone\nx\n/x\n/x\n/d\nremove-on-upgrade /y\nremove-on-upgrade /z\n";
    const std::string sumsDiffer = "|has MD5 sum " + sum + ", not " + wrong + " as in md5sums";
    const std::string odd = "|data.tar.gz|./\\x1b[2J|has ";
    EXPECT_THAT(
        findingsOf(packageOf(payload, tarFile("./md5sums", sums) + tarFile("./conffiles", conffiles))),
        ElementsAre("conffile-path|control.tar.gz|conffiles|\"x\" is not an absolute path",
                    "conffile-doubled|control.tar.gz|conffiles|\"/x\" is listed twice",
                    "md5-doubled|control.tar.gz|md5sums|\"x\" occurs twice",
                    "md5-mismatch|data.tar.gz|./x" + sumsDiffer, "md5-mismatch|data.tar.gz|./h" + sumsDiffer,
                    "conffile-type|control.tar.gz|conffiles|\"/d\" is not a regular file",
                    "pax-header" + odd + "an extended header (pax), which dpkg does not read",
                    "owner-range" + odd + "an owner or group beyond 4294967294",
                    "path-characters" + odd + "a name or target that programs show differently",
                    "owner-characters" + odd + "an owner or group that programs show differently",
                    "md5-unlisted|data.tar.gz|./\\x1b[2J|is not in md5sums",
                    "conffile-missing|control.tar.gz|conffiles|\"/gone\" is not in the payload",
                    "conffile-missing|control.tar.gz|conffiles|\"/y\" is to be removed, but is in the payload",
                    "md5-missing|control.tar.gz|md5sums|\"d\" is not a file of the payload",
                    "md5-missing|control.tar.gz|md5sums|\"gone\" is not a file of the payload"));
    EXPECT_THAT(findingsOf(packageOf("", tarFile("./md5sums", "rubbish\n"))),
                ElementsAre(testing::StartsWith("md5-syntax|control.tar.gz|./md5sums|")));
}

TEST(Verify, ReportsInTheOrderOfThePayloadHoweverManyThreadsSumUp) {
    std::string payload;
    std::string sums;
    std::vector<std::string> expected;
    const auto sumOf = [](const std::string& contents) {
        stream::Md5 sum;
        sum.update(contents.data(), contents.size());
        return sum.hexDigest();
    };
    const std::string zeros(32, '0');
    for (std::size_t number = 0; number < 60; ++number) {
        const std::string name = "f" + std::to_string(number);
        const std::string contents = noise(number * number * 120);  // some in one batch, some over several
        const std::string sum = sumOf(contents);
        const std::string place = "|data.tar.gz|./" + name + "|";
        payload += tarFile("./" + name, contents);
        sums += (number % 7 == 3 ? zeros : sum) + "  " + name + "\n";
        if (number % 7 == 3) {
            const std::string differs = "has MD5 sum " + sum + ", not " + zeros + " as in md5sums";
            expected.push_back("md5-mismatch" + place + differs);
            payload += tarLink("./link" + name, "./" + name, '1');
            expected.push_back("md5-unlisted|data.tar.gz|./link" + name + "|is not in md5sums");
        }
        if (number % 5 == 4) {
            payload += tarFile("./c:" + name + "\t", "");
            expected.push_back("path-characters|data.tar.gz|./c:" + name +
                               "\\t|has a name or target that programs show differently");
            expected.push_back("md5-unlisted|data.tar.gz|./c:" + name + "\\t|is not in md5sums");
        }
    }
    stream::VerifyOptions options;
    for (const unsigned threads : {1U, 2U, 8U}) {
        options.threads = threads;
        EXPECT_EQ(findingsOf(packageOf(payload, tarFile("./md5sums", sums)), options), expected) << threads;
    }
    // What ends the reading comes last.
    payload += tarFile("./cut", noise(300000)).substr(0, 290000);
    const std::string cut = arOf(headOf(tarFile("./md5sums", sums)) + arMember("data.tar.gz", gzipOf(payload)));
    expected.push_back("");
    for (const unsigned threads : {1U, 2U, 8U}) {
        options.threads = threads;
        std::vector<std::string> found = findingsOf(cut, options);
        EXPECT_THAT(std::exchange(found.back(), ""), testing::StartsWith("tar-truncated|"));
        EXPECT_EQ(found, expected) << threads;
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
    const std::string parent = "path-parent|data.tar.gz|../x|contains \"..\"";
    std::string damaged = gzipOf(tarOf(tarFile("../x", "x")));
    damaged[damaged.size() - 8] = static_cast<char>(damaged[damaged.size() - 8] ^ 1);
    EXPECT_THAT(findingsOf(arOf(arMember("debian-binary", "3.0\n") + data + control + arMember("more", "x"))),
                ElementsAre("format-version|debian-binary||format version \"3.0\\n\" is not supported; 2.0 is",
                            "member-order|data.tar.gz||is before the control member",
                            "member-order|control.tar.gz||comes after \"data.tar.gz\"",
                            "member-unknown|more||is unknown, and no reader uses it", parent));
    EXPECT_THAT(findingsOf(arOf(version + control + arMember("data.tar.gz", damaged))),
                ElementsAre("member-damaged|data.tar.gz||gzip member at byte 0: wrong checksum"));
    EXPECT_THAT(findingsOf(arOf(version + arMember("control.tar.gz", "rubbish") + data)),
                ElementsAre("member-damaged|control.tar.gz||is not a gzip stream", parent));
    EXPECT_THAT(
        findingsOf(arOf(version + arMember("control.tar.bz2", bzip2Of(tarOf(tarFile("control", "x\n")))) + data)),
        ElementsAre("member-compression|control.tar.bz2||dpkg-deb does not read a control member compressed with "
                    "bzip2",
                    testing::StartsWith("control-syntax|control.tar.bz2|control|control:1:"), parent));
    EXPECT_THAT(
        findingsOf(arOf(version + control + arMember("data.tar", tarFile("./x") + std::string(512, '\0')))),
        ElementsAre("tar-end|data.tar||ends after one block of zeros instead of two"));
    EXPECT_THAT(findingsOf(arOf(version + control + arMember("data.tar", tarOf("") + tarFile("./x")))),
                ElementsAre("tar-trailing|data.tar||bytes after the end marks, which are never extracted"));
}

TEST(Verify, ListsEveryFaultOfTheFields) {
    const std::string text = "Package: Tool\nVersion: 1 0\nArchitecture: all\nDescription: d\n";
    const std::string package = arOf(arMember("debian-binary", "2.0\n") +
                                     arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", text)))) +
                                     arMember("data.tar.gz", gzipOf(tarOf(""))));
    const auto isOfField = testing::StartsWith("field|control.tar.gz|./control|");
    EXPECT_THAT(findingsOf(package), ElementsAre(isOfField, isOfField, isOfField));
}

TEST(Verify, FindsWhatDpkgRefusesAndThisReaderTakes) {
    const std::string comment = "# x\n" + kControlText;
    const std::string open = kControlText.substr(0, kControlText.size() - 1);
    const auto control = [](const std::string& text) {
        return arOf(arMember("debian-binary", "2.0\n") +
                    arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", text)))) +
                    arMember("data.tar.gz", gzipOf(tarOf(""))));
    };
    const auto member = [](const std::string& name, const std::string& text) {
        return packageOf(tarFile("./f"), tarFile("./" + name, text));
    };
    const auto named = [](const std::string& name) { return packageOf(withLongName('L', name, tarFile("./x"))); };
    std::string deep = tarFolder("./");
    std::string path = "./";
    for (int i = 0; i < 20; ++i) {
        path += std::string(200, 'p') + '/';
        deep += withLongName('L', path, tarFolder("./x/"));
    }
    const auto below = [&](std::size_t bytes) {  // a path of so many bytes, "./" not counted
        return packageOf(deep +
                         withLongName('L', path + std::string(bytes + 2 - path.size(), 'f'), tarFile("./x")));
    };
    const struct {
        std::string package;
        const char* finding;  ///< its beginning; "" for none
    } cases[] = {
        {control(comment), "control-comment|control.tar.gz|./control|"},
        {control(open), "control-newline|control.tar.gz|./control|"},
        {control(kControlText + "\r\n"), "control-carriage-return|control.tar.gz|./control|"},
        {control("Package : tool\n" + kControlText.substr(14)), "control-colon|control.tar.gz|./control|"},
        {member("conffiles", "/f"), "conffile-newline|control.tar.gz|conffiles|"},
        {member("triggers", "bogus x\n"), "triggers-syntax|control.tar.gz|./triggers|"},
        {member("postinst", "#!/bin/sh\r\n"), "script-line-end|control.tar.gz|./postinst|"},
        {member("config", "exit 0\n"), "script-no-interpreter|control.tar.gz|./config|"},
        {member("other", "#!/bin/sh\r\n"), ""},
        {member(std::string(90, 'n'), ""), ""},
        {packageOf("", withLongName('L', "./" + std::string(101, 'n'), tarFile("./x"))),
         "control-name|control.tar.gz|./nnn"},
        {packageOf(tarFile("./usr/f") + tarFile("./usr/g")), "parent-missing|data.tar.gz|./usr/f|"},
        {packageOf(tarFolder("./a/b/")), "parent-missing|data.tar.gz|./a/b/|"},
        {packageOf(tarFolder("a/") + tarFile("a/f")), ""},
        {named("./" + std::string(246, 'n')), ""},
        {named("./" + std::string(247, 'n')), "path-long|data.tar.gz|./nnn"},
        {below(4085), ""},
        {below(4086), "path-long|data.tar.gz|./ppp"},
    };
    EXPECT_THAT(findingsOf(packageOf(tarFile("./a\nb"))),
                ElementsAre("path-newline|data.tar.gz|./a\\nb|has a name with a newline, which dpkg refuses",
                            testing::StartsWith("path-characters|data.tar.gz|./a\\nb|")));
    for (const auto& c : cases) {
        const std::vector<std::string> found = findingsOf(c.package);
        SCOPED_TRACE(testing::PrintToString(found));
        EXPECT_EQ(found.size(), *c.finding == '\0' ? 0U : 1U) << c.finding;
        EXPECT_EQ(found.empty() ? "" : found.front().substr(0, std::string(c.finding).size()), c.finding);
        for (const std::string& finding : found) {
            EXPECT_THAT(stream::findingCodes(), testing::Contains(finding.substr(0, finding.find('|'))));
        }
    }
}

TEST(Verify, ReadsAPipeOnceAndEndsWhereTheCallbackSays) {
    const std::string package = packageOf(tarFile("../a") + tarFile("../b") + tarFile("./x/y"));
    std::vector<std::uint64_t> totals;
    stream::VerifyOptions options;
    options.progress = [&](const stream::Progress& progress) {
        totals.push_back(progress.bytesTotal);
        return true;
    };
    EXPECT_EQ(verify(pipeOf(package).get(), "p.bex", options).size(), 3U);
    EXPECT_EQ(totals.back(), 0U) << "three empty files";
    for (const std::size_t wanted : {1U, 2U}) {
        std::size_t told = 0;
        options.onFinding = [&](const stream::Finding&) { return ++told < wanted; };
        EXPECT_EQ(verify(pipeOf(package).get(), "p.bex", options).size(), wanted);
    }
}

TEST(Verify, HasCodesThatAreAllDocumented) {
    const std::vector<std::string>& codes = stream::findingCodes();
    EXPECT_TRUE(std::is_sorted(codes.begin(), codes.end()));
    EXPECT_EQ(codes, documentedCodes());
}

}  // namespace
}  // namespace bex::test

#include <gmock/gmock.h>

#include <string>

#include "Failure.hpp"
#include "bex/repo/PackageRecord.hpp"
#include "bex/repo/RecordReader.hpp"
#include "repo/base/Hasher.hpp"

namespace bex::repo {
namespace {

using stream::ControlParagraph;
using test::failureOf;

const std::string kSha256(64, 'a');

PackageRecord recordOfText(const std::string& text) {
    return recordOf(ControlParagraph::parse(text, "test"), "p.deb");
}

std::string stanzaOf(const PackageRecord& record) {
    std::string text;
    appendStanza(text, record);
    return text;
}

/// A reader that gets few bytes at a time, so that stanzas and line ends are cut anywhere.
RecordReader slowReader(std::string_view text, std::size_t step) {
    return {[text, step](char* buffer, std::size_t size) mutable {
                const std::size_t count = text.copy(buffer, std::min(size, step));
                text.remove_prefix(count);
                return count;
            },
            "index"};
}

TEST(Stanza, HasOrderSpellingAndFoldingOfDpkgAndNoFieldThatSpeaksForTheFile) {
    PackageRecord record = recordOfText(
        "description: short\n long  \n .\n ..\nzz-odd: 1\nAA-first: 2\nVersion: 1.0-1\nFilename: ../etc/passwd\n"
        "Size: 7\nsha512: 00\nmd5SUM: 11\nEmpty:\npackage: demo\nArchitecture: amd64\nSection: misc\n");
    record.filename = "./pool/demo.deb";
    record.size = 12;
    record.digests.sha256 = kSha256;
    const std::string expected =
        "Package: demo\nVersion: 1.0-1\nArchitecture: amd64\nFilename: ./pool/demo.deb\nSize: 12\nSHA256: " +
        kSha256 + "\nSection: misc\nDescription: short\n long\n .\n ..\nAa-First: 2\nZz-Odd: 1\n";
    EXPECT_EQ(stanzaOf(record), expected);
    EXPECT_EQ(record.control().fields().size(), 7U);

    const std::string index = "\n\n" + expected + "\n\n" + expected;
    for (std::size_t step = 1; step < 40; ++step) {
        RecordReader reader = slowReader(index, step);
        PackageRecord read;
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(reader.next(read)) << step;
            EXPECT_EQ(stanzaOf(read), expected) << step;
        }
        EXPECT_FALSE(reader.next(read));
    }
}

TEST(RecordReader, NamesLineAndReasonOfWhatIsNotAStanza) {
    const std::string good =
        "Package: a\nVersion: 1\nArchitecture: all\nFilename: a.deb\nSize: 1\nSHA256: " + kSha256 +
        "\nDescription: d\n";
    struct Case {
        std::string text;
        std::string message;
    };
    const auto with = [&good](const std::string& line, const std::string& other) {
        std::string text = good;
        text.replace(text.find(line), line.size(), other);
        return text;
    };
    const Case cases[] = {
        {with("Filename: a.deb", "Filename: ../a.deb"),
         "index:9: Filename \"../a.deb\" leads out of the repository"},
        {with("Filename: a.deb", "Filename: /a.deb"), "index:9: Filename \"/a.deb\" is absolute"},
        {with("Filename: a.deb", "Filename: a\x1b.deb"),
         "index:9: Filename \"a\\x1b.deb\" has a control character"},
        {with("Filename: a.deb\n", ""), "index:9: has no Filename"},
        {with("Package: a", "Package: ../a"), "index:9: Package \"../a\" is not the name of a package"},
        {with("all", "a/b"), "index:9: Architecture \"a/b\" is not the name of one"},
        {with("Version: 1", "Version: x"), "index:9: Version \"x\": the version \"x\" must begin with a digit"},
        {with("SHA256: a", "SHA256: A"), "index:9: SHA256 \"A" + kSha256.substr(1) + "\" is not a digest"},
        {with("Size: 1", "Size: -1"), "index:13: Size \"-1\" is not a number of bytes"},
        {with("Size: 1\n", ""), "index:9: the stanza has no Size"},
        {with("Size: 1", "Size: 1\nsize: 2"), "index:14: Size occurs twice"},
        {with("Version: 1", "Version: 1\n 2"), "index:11: is a continuation of nothing that has several lines"},
        {with("Description: d", "Description: d\n  "),
         "index:16: is a continuation of nothing that has several lines"},
        {with("Description: d", "nothing"), "index:15: is neither a field nor a continuation"},
        {with("Description: d", "A: b\rc"), "index:9: the stanza holds a NUL or a carriage return"},
    };
    for (const Case& c : cases) {
        const std::string text = good + "\n" + c.text;
        EXPECT_EQ(failureOf([&] {
                      RecordReader reader = RecordReader::ofText(text, "index");
                      PackageRecord record;
                      while (reader.next(record)) {
                      }
                  }),
                  c.message);
    }
}

/// The examples of FIPS 180-4 and RFC 1321 for "abc"; the second file does not depend on the first.
TEST(Hasher, GivesTheChosenDigestsOfOneFileAfterTheOther) {
    Hasher hasher({true, true, true});
    hasher.update("what stays of a file that failed");
    hasher.finish();
    hasher.update("a");
    hasher.update("");
    hasher.update("bc");
    const Digests digests = hasher.finish();
    EXPECT_EQ(digests.md5, "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digests.sha1, "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(digests.sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digests.sha512.substr(0, 32), "ddaf35a193617abacc417349ae204131");
    EXPECT_EQ(Hasher().finish().md5, "");
}

}  // namespace
}  // namespace bex::repo

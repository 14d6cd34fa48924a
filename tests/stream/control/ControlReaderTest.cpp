#include "bex/stream/ControlReader.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "Failure.hpp"

namespace {

using bex::stream::ControlParagraph;
using bex::stream::ControlReader;
using bex::test::failureOf;

/// The paragraphs, or those before the failure and its message, which must come again.
std::string readAll(ControlReader reader) {
    std::string read;
    ControlParagraph paragraph;
    const std::string failure = failureOf([&] {
        while (reader.next(paragraph)) {
            read += paragraph.format() + "|";
        }
    });
    EXPECT_EQ(failureOf([&] { reader.next(paragraph); }), failure);
    return read + failure;
}

/// Reads `text` in pieces of `pieceBytes`.
ControlReader inPieces(std::string_view text, std::size_t pieceBytes, std::size_t paragraphBytes) {
    return ControlReader(
        [text, pieceBytes](char* buffer, std::size_t size) mutable {
            const std::size_t count = text.copy(buffer, std::min(size, pieceBytes));
            text.remove_prefix(count);
            return count;
        },
        "Packages", paragraphBytes);
}

constexpr const char* kHead = "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA512\n\n";
constexpr const char* kTail = "-----BEGIN PGP SIGNATURE-----\n\niQ==\n=abcd\n-----END PGP SIGNATURE-----\n";

TEST(ControlReader, ReadsParagraphByParagraph) {
    const struct {
        std::string text;
        const char* read;
    } cases[] = {
        {"", ""},
        {"\n\n#a\n\n", ""},
        {"A1: b\nC2: d\n e\n\n\n#x\nA1: f\n\n\n", "A1: b\nC2: d\n e\n|A1: f\n|"},
        {"A1: b\r\n\r\nA1: c", "A1: b\n|A1: c\n|"},
        {"A1: b\n\nA1: c\na1: d\n", "A1: b\n|Packages:4:1: the field \"a1\" is already in line 3"},
        {"A1: b\n\n c\n", "A1: b\n|Packages:3:1: a continuation line before the first field"},
        {"A1: 1234567890123\nB1: 12345678\n\n", "Packages:2:1: a paragraph of more than 26 bytes"},
        {"A1: 1234567890\n\nA1: 1234567890\n\nA1: 12345678901234567890123\n",
         "A1: 1234567890\n|A1: 1234567890\n|Packages:5:1: a paragraph of more than 26 bytes"},
        {"\xEF\xBB\xBF"
         "A1: b\n",
         "Packages:1:1: begins with a byte order mark"},
    };
    for (const auto& c : cases) {
        for (const std::size_t pieceBytes : std::initializer_list<std::size_t>{1, 3, 1000}) {
            EXPECT_EQ(readAll(inPieces(c.text, pieceBytes, 26)), c.read) << c.text;
        }
    }
}

TEST(ControlReader, TakesOffASignature) {
    const std::string head = kHead;
    const std::string tail = kTail;
    const auto read = [](const std::string& text) { return readAll(ControlReader::ofText(text, "x.dsc")); };
    EXPECT_EQ(read("\n" + head + "A1: b\n- -c: d\n\nA1: e\n" + tail + "\n"),
              "x.dsc:6:1: a field name begins with \"-\"");
    EXPECT_EQ(read(head + "A1: b\n\n- A1: e\n" + tail + "\n"), "A1: b\n|A1: e\n|");
    EXPECT_EQ(read(head + "A1: b\n" + tail + "A1: e\n"),
              "A1: b\n|x.dsc:10:1: a line after the signature, which does not cover it");
    EXPECT_EQ(read("A1: b\n\n" + head), "A1: b\n|x.dsc:3:11: a field name holds \" \"");
    EXPECT_EQ(read(head + "A1: b\n-c: d\n" + tail),
              "x.dsc:5:1: a signed line begins with a dash that is not escaped");
    for (const std::string& cut : {head, head + "A1: b\n", head + "A1: b\n" + tail.substr(0, 40)}) {
        const std::string result = read(cut);
        EXPECT_NE(result.find(": the text ends before its signature does"), std::string::npos) << result;
    }
}

TEST(ControlReader, OpensFiles) {
    EXPECT_EQ(failureOf([] { ControlReader::open("/nowhere/Packages"); }),
              "/nowhere/Packages: can't open: No such file or directory");
    EXPECT_EQ(readAll(ControlReader::open("/dev/null")), "");
}

}  // namespace

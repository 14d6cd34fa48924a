#include <gtest/gtest.h>

#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

const std::string kVersion = arMember("debian-binary", "2.0\n");
const std::string kData = arMember("data.tar.gz", gzipOf(tarOf(tarFile("./x", "x"))));

std::string controlOnly() {
    return headOf().substr(kVersion.size());
}

TEST(Members, EachBrokenStructureHasATextOfItsOwnAndIsRefusedFromFileAndPipe) {
    const std::string sound = arOf(headOf() + kData);
    const std::string rest = "p.bex: ";
    const struct {
        std::string bytes;
        std::string message;
    } cases[] = {
        {"!<arch>", "no package: does not begin with \"!<arch>\\n\""},
        {arOf(""), "no member \"debian-binary\""},
        {arOf(kVersion), "no control member"},
        {arOf(headOf()), "no data member"},
        {arOf(controlOnly() + kVersion + kData),
         "member \"control.tar.gz\": is the first member, but \"debian-binary\" must be"},
        {arOf(kVersion + kData + controlOnly()), "member \"data.tar.gz\": is before the control member"},
        {arOf(headOf() + controlOnly() + kData), "member \"control.tar.gz\": occurs twice"},
        {arOf(headOf() + arMember("control.tar", "") + kData),
         "member \"control.tar\": a second control member, after \"control.tar.gz\""},
        {sound + arMember("data.tar.xz", ""),
         "member \"data.tar.xz\": a second data member, after \"data.tar.gz\""},
        {arOf(kVersion + arMember("extra", "") + controlOnly() + kData),
         "member \"extra\": is before the data member and is unknown"},
        {arOf(headOf() + arMember("data.tar.lzma", "x")),
         "member \"data.tar.lzma\": compression \".lzma\" is not supported"},
        {arOf(arMember("debian-binary", "3.0\n") + controlOnly() + kData),
         "member \"debian-binary\": format version \"3.0\\n\" is not supported; 2.0 is"},
        {sound + "junk", "bytes after the last member, from offset " + std::to_string(sound.size())},
        {arOf(kVersion.substr(0, 20)), "member \"debian-binary\": header at offset 8 ends after 20 of 60 bytes"},
        {arOf(kVersion.substr(0, 7)), "header at offset 8 ends after 7 of 60 bytes"},
        {arOf(std::string(60, 'x')), "no member header at offset 8"},
        {arOf(kVersion + arMember("control.tar.gz", gzipOf("").substr(0, 12), "123456")),
         "member \"control.tar.gz\": ends after 12 of 123456 bytes"},
        {arOf(arMember("debian-binary", "2.0\n", "4x")),
         "member \"debian-binary\": size \"4x        \" in the header is not a number"},
        {arOf(arMember("\x1b[31m\n/x", "")),
         "member \"\\x1b[31m\\n/x\": the name is empty, contains a \"/\" or refers to a table of names"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_EQ(listingOf(c.bytes), rest + c.message);
        EXPECT_EQ(listingOf(c.bytes, Route::pipe), rest + c.message);
    }
}

TEST(Members, WhatTheFormatAllowsIsTakenFromFileAndPipe) {
    const std::string odd =
        arOf(arMember("debian-binary/", "2.17\nmore\n") + arMember("_first", "x") + controlOnly() +
             arMember("_next", "") + kData + arMember("_gpg", "y") + arMember("later", "without padding"));
    const std::string expected = listingOf(arOf(headOf() + kData));
    EXPECT_NE(expected.find("./x = x"), std::string::npos) << expected;
    EXPECT_EQ(listingOf(odd.substr(0, odd.size() - 1)), expected);
    EXPECT_EQ(listingOf(odd.substr(0, odd.size() - 1), Route::pipe), expected);
}

TEST(Members, TellWhereTheyStandAndWhenTheyWereMade) {
    const std::string bytes = arOf(headOf() + arMember("_x", "abc") + kData);
    const auto check = [&](stream::PackageReader& reader) {
        stream::Entry entry;
        ASSERT_TRUE(reader.next(entry));
        const auto& members = reader.members();
        ASSERT_EQ(members.size(), 4U);
        EXPECT_EQ(bytes.substr(members[2].offset, members[2].size), "abc");
        EXPECT_EQ(members[2].mtime, 1000000000);
    };
    EXPECT_EQ(reading(bytes, Route::file, check) + reading(bytes, Route::pipe, check), "");
}

}  // namespace
}  // namespace bex::test

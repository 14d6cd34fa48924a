#include <gtest/gtest.h>

#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

const std::string kGnu("ustar  \0", 8);

template <typename Change>
std::string changed(Change change, std::string_view contents = {}) {
    TarFields fields;
    fields.name = "./x";
    change(fields);
    return tarEntry(fields, contents);
}

TEST(Tar, HeadersThatReadersUnderstandDifferentlyAreRefused) {
    const std::string file = tarFile("./x");
    const std::string at = "p.bex: member \"data.tar.gz\": ";
    const std::string sparse = "p.bex: ./x: is stored sparse, which dpkg does not read";
    const std::string badNumber = at + "header with a malformed ";
    const struct {
        std::string entries;
        std::string message;
    } cases[] = {
        {changed([](auto& f) { f.checksum = "000000"; }), at + "header with a wrong checksum"},
        {changed([](auto& f) { f.magic = "ustar"; }), badNumber + "magic: \"ustar\\x00\\x00\\x00\""},
        {changed([](auto& f) { f.size = std::string(12, '\xff'); }),
         badNumber + "size: \"\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\""},
        {changed([](auto& f) {
             f.size = {"\x80\0\0\0\x7f\xff\xff\xff\xff\xff\xff\xff", 12};
         }),
         badNumber + "size: \"\\x80\\x00\\x00\\x00\\x7f\\xff\\xff\\xff\\xff\\xff\\xff\\xff\""},
        {changed([](auto& f) { f.uid = std::string("\xc0\0\0\0\0\0\0\1", 8); }), badNumber + "owner: \"\\xc0"},
        {changed([](auto& f) { f.mode = "00009"; }), badNumber + "mode: \"00009\\x00"},
        {changed([](auto& f) { f.mtime = "        "; }), badNumber + "time: \"        \\x00"},
        {changed([](auto& f) {
             f.name = {"./x\0y", 5};
         }),
         badNumber + "name: \"./x\\x00y"},
        {changed([](auto& f) { f.devices = "0000001"; }) + changed([](auto& f) { f.devices = "\x80"; }),
         badNumber + "device number: \"\\x80"},
        {changed([](auto& f) { f.magic = kGnu, f.tail = "1"; }), badNumber + "sparse map: \"1"},
        {changed([](auto& f) { f.name = "./x/", f.size = "1"; }),
         "p.bex: ./x/: a size of 1 for an entry without contents"},
        {changed([](auto& f) { f.type = 'g'; }, "20 path=../../etc/x\n"),
         "p.bex: ./x: header of type \"g\" is not supported"},
        {changed([](auto& f) { f.type = 'x'; }, "6 a=bc") + file,
         at + "extended header: record with a wrong length"},
        {changed([](auto& f) { f.type = 'x'; }, "6 =bc\n") + file,
         at + "extended header: record with a malformed key"},
        {withPax({{std::string("a\0b", 3), "c"}}, file), at + "extended header: record with a malformed key"},
        {withPax({{"path", "a"}, {"path", "b"}}, file), at + "extended header: \"path\" occurs twice"},
        {withPax({{"path", {"a\0b", 3}}}, file), at + "extended header: \"path\" is empty or holds a NUL"},
        {withPax({{"size", "-1"}}, file), at + "extended header: size \"-1\" is not a valid number"},
        {withPax({{"linkpath", "a"}}, tarLink("./x", "", '2')),
         at + "extended header: readers disagree on \"linkpath\""},
        {withPax({{"hdrcharset", "BINARY"}}, file), at + "extended header: readers disagree on \"hdrcharset\""},
        {withPax({{"mtime", "1.5e3"}}, file), at + "extended header: mtime \"1.5e3\" is not a valid number"},
        {withPax({{"gid", "18446744073709551616"}}, file), at + "extended header: gid \"18446744073709551616\""},
        {withPax({{"path", "./\xff"}}, file), at + "extended header: path \"./\\xff\" is not UTF-8"},
        {withPax({{"gname", "\xed\xa0\x80"}}, file), at + "extended header: gname \"\\xed"},
        {withPax({{"a", "b"}}, withPax({{"a", "b"}}, file)), at + "two extended headers for one entry"},
        {withLongName('L', "a", withLongName('L', "b", file)), at + "two extended names for one entry"},
        {withLongName('L', "", file), at + "extended name that is empty, has no final NUL or has bytes after it"},
        {withLongName('L', "a", withPax({{"path", "b"}}, file)), at + "two kinds of extended names for one entry"},
        {withLongName('L', "a", ""), at + "extended header without an entry after it"},
        {changed([](auto& f) { f.type = 'S', f.magic = kGnu, f.tail = "00000000000"; }), sparse},
        {withPax({{"GNU.sparse.numblocks", "1"}, {"GNU.sparse.offset", "0"}, {"GNU.sparse.offset", "9"}}, file),
         sparse},
        {withPax({{"GNU.sparse.map", "0,1"}, {"GNU.sparse.size", "4"}}, tarFile("./x", "x")), sparse},
        {withPax({{"GNU.sparse.major", "1"}, {"GNU.sparse.minor", "0"}}, tarFile("./x", "1\n0\n")), sparse},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const std::string listing = listingOf(packageOf(c.entries));
        // Fields are quoted whole; what the case leaves open is their filling.
        EXPECT_EQ(listing.substr(0, c.message.size()), c.message);
        EXPECT_EQ(listing.find('\n'), std::string::npos);
        EXPECT_EQ(listingOf(packageOf(c.entries), Route::pipe), listing);
    }
}

TEST(Tar, OwnersAndTimesAreTold) {
    const std::string posix =
        withPax({{"mtime", "-7.5"}, {"uid", "70000000"}, {"uname", "\xc3\xa4"}}, tarLink("./x", "y", '2'));
    const std::string v7 = changed([](auto& f) { f.magic.clear(), f.type = '\0'; }, "ab");
    const std::string gnu = changed([](auto& f) {
        f.magic = kGnu, f.name = "./y", f.gid = "0000017", f.mtime = std::string(10, '\xff') + "\xff\x85";
    });
    EXPECT_EQ(listingOf(packageOf(posix)), "l0644 70000000:\xc3\xa4 0:root 0 -7 ./x -> y\n");
    EXPECT_EQ(listingOf(packageOf(v7 + gnu)),
              "f0644 0: 0: 2 1000000000 ./x = ab\nf0644 0:root 15:root 0 -123 ./y\n");
}

TEST(Tar, EndMarksMustBeThere) {
    for (const std::size_t size : {0U, 512U, 513U, 612U, 1024U}) {
        const std::string tar = tarFile("./x", "x") + std::string(511, '\0');
        EXPECT_EQ(listingOf(arOf(headOf() + arMember("data.tar", tar.substr(0, size)))),
                  "p.bex: member \"data.tar\": the archive ends before its end marks");
    }
}

}  // namespace
}  // namespace bex::test

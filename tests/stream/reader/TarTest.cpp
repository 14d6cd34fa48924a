#include <gtest/gtest.h>

#include "HandMade.hpp"

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

/// Offset and length of a block of an old GNU sparse map.
std::string mapBlock(const std::string& offset, const std::string& length) {
    std::string block(24, '\0');
    return block.replace(0, offset.size(), offset).replace(12, length.size(), length);
}

std::string sparseTail(const std::string& blocks, bool continues, const std::string& size) {
    std::string tail = blocks;
    tail.resize(96, '\0');
    return tail + (continues ? '\1' : '\0') + size;
}

TEST(Tar, HeadersThatReadersUnderstandDifferentlyAreRefused) {
    const std::string file = tarFile("./x");
    const std::string at = "p.bex: member \"data.tar.gz\": ";
    const std::string badNumber = at + "header with a malformed ";
    const auto pax = [&](const std::string& text) { return changed([](auto& f) { f.type = 'x'; }, text) + file; };
    const struct {
        std::string entries;
        std::string message;
    } cases[] = {
        {changed([](auto& f) { f.checksum = "000000"; }), at + "header with a wrong checksum"},
        {changed([](auto& f) { f.magic = "ustar"; }), badNumber + "magic: \"ustar\\x00\\x00\\x00\""},
        {changed([](auto& f) { f.size = "12x"; }),
         badNumber + "size: \"12x" + "\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\""},
        {changed([](auto& f) { f.size = "-1"; }),
         badNumber + "size: \"-1" + "\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\""},
        {changed([](auto& f) { f.size = std::string(12, '\xff'); }),
         badNumber + "size: \"\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\""},
        {changed([](auto& f) {
             f.size = {"\x80\0\0\0\x7f\xff\xff\xff\xff\xff\xff\xff", 12};
         }),
         badNumber + "size: \"\\x80\\x00\\x00\\x00\\x7f\\xff\\xff\\xff\\xff\\xff\\xff\\xff\""},
        {changed([](auto& f) {
             f.size = {"\x80\0\0\1\0\0\0\0\0\0\0\0", 12};
         }),
         badNumber + "size: \"\\x80\\x00\\x00\\x01\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\""},
        {changed([](auto& f) { f.mode = "00009"; }), badNumber + "mode: \"00009\\x00"},
        {changed([](auto& f) { f.mtime = "        "; }), badNumber + "time: \"        \\x00"},
        {changed([](auto& f) {
             f.name = {"./x\0y", 5};
         }),
         badNumber + "name: \"./x\\x00y"},
        {changed([](auto& f) { f.type = '5', f.size = "1"; }), "p.bex: ./x: a size of 1 for what has no contents"},
        {changed([](auto& f) { f.type = '2', f.size = "1000"; }),
         "p.bex: ./x: a size of 512 for what has no contents"},
        {changed([](auto& f) { f.name = "./x/", f.size = "1"; }),
         "p.bex: ./x/: a size of 1 for what has no contents"},
        {changed([](auto& f) { f.type = 'V'; }), "p.bex: ./x: header of type \"V\" is not supported"},
        {changed([](auto& f) { f.type = 'g'; }, "20 path=../../etc/x\n"),
         "p.bex: ./x: header of type \"g\" is not supported"},
        {changed([](auto& f) { f.magic = kGnu, f.tail = "1"; }), badNumber + "sparse map: \"1"},
        {pax("7 a=b\n"), at + "extended header: record with a wrong length"},
        {pax("6 a=bc"), at + "extended header: record with a wrong length"},
        {pax("99999999999999999999 a=b\n"), at + "extended header: record with a wrong length"},
        {pax("-6 a=b\n"), at + "extended header: record with a wrong length"},
        {changed([](auto& f) { f.type = 'x', f.size = "00000000006"; }, "8 a=b\n\n\n") + file,
         at + "extended header: record with a wrong length"},
        {pax("2 "), at + "extended header: record with a wrong length"},
        {pax("6 abc\n"), at + "extended header: record without a key"},
        {pax("6 =bc\n"), at + "extended header: record without a key"},
        {withPax({{"path", "a"}, {"path", "b"}}, file), at + "extended header: \"path\" is there twice"},
        {withPax({{"path", ""}}, file), at + "extended header: \"path\" is empty or holds a NUL"},
        {withPax({{"path", {"a\0b", 3}}}, file), at + "extended header: \"path\" is empty or holds a NUL"},
        {withPax({{"size", "-1"}}, file), at + "extended header: size \"-1\" is none"},
        {withPax({{"size", "9223372036854775807"}}, file),
         at + "extended header: size \"9223372036854775807\" is none"},
        {withPax({{"hdrcharset", "BINARY"}}, file), at + "extended header: readers disagree on \"hdrcharset\""},
        {withPax({{"SCHILY.realsize", "4"}}, file),
         at + "extended header: readers disagree on \"SCHILY.realsize\""},
        {withPax({{"path", "./\xff"}}, file),
         "p.bex: ./\\xff: can't be decoded: Pathname can't be converted from UTF-8 to current locale."},
        {withPax({{"a", "b"}}, withPax({{"a", "b"}}, file)), at + "two extended headers for one entry"},
        {withLongName('L', "a", withLongName('L', "b", file)), at + "two extended names for one entry"},
        {withLongName('L', {"a\0b", 3}, file),
         at + "extended name that is empty, has no NUL or goes on behind it"},
        {changed([](auto& f) { f.type = 'L'; }, "name") + file,
         at + "extended name that is empty, has no NUL or goes on behind it"},
        {changed([](auto& f) { f.name.clear(), f.type = '5'; }), badNumber + "name: \"\""},
        {changed([](auto& f) { f.name.clear(), f.prefix = "p"; }), badNumber + "name: \"\""},
        {withLongName('L', "", file), at + "extended name that is empty, has no NUL or goes on behind it"},
        {withLongName('L', "a", withPax({{"path", "b"}}, file)), at + "two kinds of extended names for one entry"},
        {withLongName('L', "a", ""), at + "extended header without an entry behind it"},
        {withPax({{"GNU.sparse.major", "1"}}, tarFile("./x", "x")), "p.bex: ./x: sparse map without a length"},
        {withPax({{"GNU.sparse.map", "0,1"}}, tarFolder("./x")), "p.bex: ./x: sparse, but no file"},
        {withPax({{"GNU.sparse.map", "4,1,0,1"}, {"GNU.sparse.size", "8"}}, tarFile("./x", "ab")),
         "p.bex: ./x: sparse map out of order or beyond the file's size"},
        {withPax({{"GNU.sparse.map", "0,1,7,2"}, {"GNU.sparse.size", "8"}}, tarFile("./x", "abc")),
         "p.bex: ./x: sparse map out of order or beyond the file's size"},
        {changed(
             [](auto& f) {
                 f.type = 'S', f.magic = kGnu,
                 f.tail = sparseTail(mapBlock("0", "1") + mapBlock("3", "2"), false, "4");
             },
             "abc"),
         "p.bex: ./x: sparse map out of order or beyond the file's size"},
        {changed(
             [](auto& f) { f.type = 'S', f.magic = kGnu, f.tail = sparseTail(mapBlock("0", "1"), false, "4"); },
             std::string(600, 'x')),
         "p.bex: ./x: sparse map that does not fit what is stored"},
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

TEST(Tar, EveryWayToWriteAnEntryIsRead) {
    const std::string line = "f0644 0:root 0:root 2 1000000000 ";
    const std::string name(300, 'n');
    const std::string folders = "./" + std::string(150, 'p');
    const struct {
        std::string entries;
        std::string listing;
    } cases[] = {
        {changed([](auto& f) { f.magic = kGnu; }, "ab"), line + "./x = ab\n"},
        {changed([](auto& f) { f.magic.clear(), f.type = '\0'; }, "ab"), "f0644 0: 0: 2 1000000000 ./x = ab\n"},
        {changed([&](auto& f) { f.prefix = folders; }, "ab"), line + folders + "/./x = ab\n"},
        {changed(
             [](auto& f) {
                 f.size = {"\x80\0\0\0\0\0\0\0\0\0\0\2", 12};
             },
             "ab"),
         line + "./x = ab\n"},
        {changed([](auto& f) { f.size = "         2 "; }, "ab"), line + "./x = ab\n"},
        {withLongName('L', "./a/" + std::string(200, 'n'), tarFile("./x", "ab")),
         line + "./a/" + std::string(200, 'n') + " = ab\n"},
        {withLongName('K', name, withLongName('L', "./l", tarLink("./x", "y", '2'))),
         "l0644 0:root 0:root 0 1000000000 ./l -> " + name + "\n"},
        {withPax({{"linkpath", name}, {"mtime", "7.5"}, {"uid", "70000000"}, {"uname", "\xc3\xa4"}},
                 tarLink("./x", "y", '2')),
         "l0644 70000000:\xc3\xa4 0:root 0 7 ./x -> " + name + "\n"},
        {withPax({{"size", "2"}}, changed([](auto& f) { f.size = "0"; }, "ab")), line + "./x = ab\n"},
        {changed([](auto& f) { f.name = "./d/", f.type = '\0', f.magic.clear(); }),
         "d0644 0: 0: 0 1000000000 ./d/\n"},
        {tarFolder("./d"), "d0755 0:root 0:root 0 1000000000 ./d/\n"},
        {changed(
             [](auto& f) {
                 f.type = 'S', f.magic = kGnu,
                 f.tail = sparseTail(mapBlock("1", "1") + mapBlock("3", "1"), false, "5");
             },
             "ab"),
         "f0644 0:root 0:root 5 1000000000 ./x sparse = \\x00a\\x00b\\x00\n"},
        {withPax({{"GNU.sparse.map", "1,2"}, {"GNU.sparse.size", "4"}, {"GNU.sparse.name", "./y"}},
                 tarFile("./x", "ab")),
         "f0644 0:root 0:root 4 1000000000 ./y sparse = \\x00ab\\x00\n"},
        {withPax({{"GNU.sparse.major", "1"},
                  {"GNU.sparse.minor", "0"},
                  {"GNU.sparse.name", "./y"},
                  {"GNU.sparse.realsize", "4"}},
                 tarFile("./x", "1\n1\n2\n" + std::string(506, '\0') + "ab")),
         "f0644 0:root 0:root 4 1000000000 ./y sparse = \\x00ab\\x00\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listing);
        const std::string last = "f0644 0:root 0:root 3 1000000000 ./last = end\n";
        EXPECT_EQ(listingOf(packageOf(c.entries + tarFile("./last", "end"))), c.listing + last);
    }
}

TEST(Tar, EndMarksMustBeThereAndNothingBehindThemIsAnEntry) {
    const std::string file = tarFile("./x", "x");
    const std::string sound = listingOf(packageOf(file));
    const auto listing = [&](const std::string& tar) {
        return listingOf(arOf(headOf() + arMember("data.tar.gz", gzipOf(tar))));
    };
    const std::string truncated = "p.bex: member \"data.tar.gz\": the archive ends before its end marks";
    EXPECT_EQ(listing(file), truncated);
    EXPECT_EQ(listing(""), truncated);
    EXPECT_EQ(listing(file + std::string(100, '\0')), truncated);
    EXPECT_EQ(listing(file.substr(0, 513)), truncated);
    EXPECT_EQ(listing(tarFile("./x", std::string(5000, 'x')).substr(0, 3000)), truncated);
    EXPECT_EQ(listing(file + std::string(512, '\0')), sound);
    EXPECT_EQ(listing(tarOf(file) + std::string(9000, '\0')), sound);
    EXPECT_EQ(listing(tarOf(file) + tarOf(tarFile("../y"))), sound) << "what is behind the marks is not looked at";
    EXPECT_EQ(listing(std::string(512, '\0')), "") << "an empty payload";
}

}  // namespace
}  // namespace bex::test

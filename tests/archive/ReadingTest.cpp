#include <gmock/gmock.h>
#include <locale.h>

#include <algorithm>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

const char* const kCannotLoad = "Archive::loadArchive : Can't load archive.";

/// A tar size field of the kind that holds more than octal digits can.
std::string wideSize(unsigned char highest) {
    return std::string("\x80\0\0\0", 4) + static_cast<char>(highest) + std::string(7, '\0');
}

std::string impossibleToOpen(const std::string& path) {
    return "ArArchive::ArArchive (" + path + "): impossible to open " + path + " file.";
}

TEST(ReadingAnArchive, SaysWhatItCannotOpen) {
    const TemporaryDirectory dir;
    for (const std::string& path :
         {dir / "missing", dir.write("text", "no archive"), dir.write("empty", ""), dir / ""}) {
        EXPECT_EQ(failureOf([&] { loadedAr(path); }), impossibleToOpen(path));
    }
    const std::string noHeader = gzip("x" + std::string(1535, '\0'));
    for (const std::string& bytes :
         {std::string(), std::string("text"), std::string("\x1f\x8b\x08 broken"), noHeader}) {
        EXPECT_EQ(failureOf([&] { loadedTarGz(bytes); }),
                  "TarGzArchive::TarGzArchive: can't open in.tar.gz archive.");
    }
    EXPECT_THAT(loadedTarGz(tarGz("")), IsEmpty()) << "nothing but the end";
    EXPECT_THAT(loadedTarGz(tarGz(tarEntry("x", "no record", 'x'))), IsEmpty()) << "a header that cannot be read";
    EXPECT_THAT(loadedAr(dir.write("none.ar", arFile({}))), IsEmpty());
}

TEST(ReadingAnArchive, TakesEveryEntryOfAnyTypeAndSize) {
    std::string zeros;
    zeros.resize(20000000);  // compresses about as well as anything can
    const Contents contents =
        loadedTarGz(tarGz(tarEntry("zeros", zeros) + tarEntry("dir/", "", '5') + tarEntry("", "n") +
                          tarEntry("link", "", '2') + tarEntry("last", "l")));
    EXPECT_TRUE(contents == (Contents{{"zeros", zeros}, {"dir/", ""}, {"", "n"}, {"link", ""}, {"last", "l"}}));
}

TEST(ReadingAnArchive, BelievesNoSizeThatTheSourceCannotHold) {
    const struct {
        std::string entries;
        const char* why;
    } tars[] = {
        {tarEntry("x", "hello", '0', "77777777777"), "8 GiB"},
        {tarEntry("x", "hello", '0', wideSize(0x40)), "2^62 bytes"},
        {tarEntry("x", "hello", '0', "00000010000"), "a little more than there is"},
        {paxEntry({{"size", "7777777777777"}}, "x", "hello"), "a pax header's size"},
        {paxEntry({{"GNU.sparse.size", "7777777777777"}, {"GNU.sparse.map", "0,5"}}, "x", "hello"),
         "a sparse file's"},
        {paxEntry({{"GNU.sparse.size", "10"}, {"GNU.sparse.map", "100000,5"}}, "x", "hello"),
         "a block behind the end"},
        {paxEntry({{"GNU.sparse.size", "10"}, {"GNU.sparse.map", "8,5"}}, "x", "hello"), "a block across the end"},
        {paxEntry({{"GNU.sparse.size", "10"}, {"GNU.sparse.map", "9223372036854775800,5"}}, "x", "hello"),
         "an offset whose sum overflows"},
    };
    for (const auto& c : tars) {
        const std::string bytes = gzip(tarEntry("good", "1") + c.entries);
        EXPECT_EQ(failureOf([&] { loadedTarGz(bytes); }), kCannotLoad) << c.why;
    }
    const TemporaryDirectory dir;
    for (const char* size : {"9999999999", "50"}) {
        const std::string path = dir.write("x.ar", arFile({{"good", "1", ""}, {"lies", "hello", size}}));
        EXPECT_EQ(failureOf([&] { loadedAr(path); }), kCannotLoad) << size;
    }
    EXPECT_EQ(loadedTarGz(tarGz(paxEntry({{"GNU.sparse.size", "12"}, {"GNU.sparse.map", "7,5"}}, "x", "hello"))),
              (Contents{{"x", std::string(7, '\0') + "hello"}}))
        << "an honest sparse file";
}

TEST(ReadingAnArchive, OfAnyCutLengthFailsOrGivesWhatComesBeforeTheCut) {
    const std::string data = randomBytes(700);
    const Contents whole{{"a", data}, {"b", data + data}};
    const std::string tar = tarGz(tarEntry("a", data) + tarEntry("b", data + data));
    const std::string ar = arFile({{"a", data, ""}, {"b", data + data, ""}});
    const TemporaryDirectory dir;
    for (std::size_t length = 0; length < ar.size(); length += 7) {
        for (const bool isAr : {true, false}) {
            Contents read;
            const std::string failure = failureOf([&] {
                read =
                    isAr ? loadedAr(dir.write("cut", ar.substr(0, length))) : loadedTarGz(tar.substr(0, length));
            });
            EXPECT_THAT(failure, AnyOf("", kCannotLoad, HasSubstr("open"))) << length;
            EXPECT_TRUE(read.size() <= 2 && std::equal(read.begin(), read.end(), whole.begin())) << length;
        }
    }
}

TEST(ReadingAnArchive, ReadsUtf8NamesWithoutALocaleAndLeavesTheCallersAlone) {
    ASSERT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
    const std::string name =
        "gr\xc3\xb6\xc3\x9f"
        "e/\xe6\x97\xa5.txt";
    const std::string good = tarGz(paxEntry({{"path", name}}, "x", "hello") + tarEntry("after", "1"));
    const std::string bad = tarGz(tarEntry("x", "hello", '0', "77777777777"));
    const locale_t own = newlocale(LC_ALL_MASK, "C", nullptr);
    for (const locale_t callers : {LC_GLOBAL_LOCALE, own}) {
        uselocale(callers);
        EXPECT_EQ(loadedTarGz(good), (Contents{{name, "hello"}, {"after", "1"}}));
        EXPECT_EQ(uselocale(nullptr), callers);
        EXPECT_EQ(failureOf([&] { loadedTarGz(bad); }), kCannotLoad);
        EXPECT_EQ(uselocale(nullptr), callers) << "after a failure";
    }
    uselocale(LC_GLOBAL_LOCALE);
    freelocale(own);
}

}  // namespace
}  // namespace bex::test

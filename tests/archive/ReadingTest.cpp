#include <gtest/gtest.h>
#include <locale.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

const char* const kCannotLoad = "Archive::loadArchive : Can't load archive.";
TEST(ReadingAnArchive, TakesEveryEntryOfAnyTypeAndSize) {
    const TemporaryDirectory dir;
    const Contents whole{
        {"zeros", std::string(20000000, '\0')}, {"dir/", ""}, {"", "n"}, {"link", ""}, {"z", "z"}};
    EXPECT_TRUE(loadedTarGz(tarGz(tarEntry("zeros", whole[0].second) + tarEntry("dir/", "", '5') +
                                  tarEntry("", "n") + tarEntry("link", "", '2') + tarEntry("z", "z"))) == whole);
    EXPECT_EQ(loadedTarGz(tarGz(tarEntry("x", "no record", 'x'))), Contents()) << "a header that cannot be read";
    EXPECT_EQ(loadedTarGz(tarGz("")), Contents());
    EXPECT_EQ(loadedAr(dir.write("none.ar", arFile({}))), Contents());
}

std::string sparse(const std::string& size, const std::string& map) {
    return withPax({{"GNU.sparse.size", size}, {"GNU.sparse.map", map}}, tarEntry("x", "hello"));
}

TEST(ReadingAnArchive, BelievesNoSizeThatTheSourceCannotHold) {
    const std::pair<std::string, const char*> cases[] = {
        {tarEntry("x", "hello", '0', "77777777777"), "8 GiB"},
        {tarEntry("x", "hello", '0', std::string("\x80\0\0\0\x40\0\0\0\0\0\0\0", 12)), "2^62 bytes"},
        {tarEntry("x", "hello", '0', "00000010000"), "a little more than there is"},
        {withPax({{"size", "7777777777777"}}, tarEntry("x", "hello")), "a pax header's size"},
        {sparse("7777777777777", "0,5"), "a sparse file's size"},
        {sparse("10", "100000,5"), "a block behind the end"},
        {sparse("10", "8,5"), "a block across the end"},
        {sparse("10", "9223372036854775800,5"), "an offset whose sum overflows"},
    };
    for (const auto& [entry, why] : cases) {
        const std::string bytes = gzip(tarEntry("good", "1") + entry);
        EXPECT_EQ(failureOf([&] { loadedTarGz(bytes); }), kCannotLoad) << why;
    }
    EXPECT_EQ(loadedTarGz(tarGz(sparse("12", "7,5"))), (Contents{{"x", std::string(7, '\0') + "hello"}}));
    const TemporaryDirectory dir;
    for (const char* size : {"9999999999", "50"}) {
        const std::string path = dir.write("x.ar", arFile({{"good", "1", ""}, {"lies", "hello", size}}));
        EXPECT_EQ(failureOf([&] { loadedAr(path); }), kCannotLoad) << size;
    }
}

TEST(ReadingAnArchive, ReadsUtf8NamesWithoutALocaleAndLeavesTheCallersAlone) {
    const std::string good = tarGz(withPax({{"path", "gr\u00f6\u00dfe"}}, tarEntry("x", "hello")));
    const locale_t own = newlocale(LC_ALL_MASK, "C", nullptr);
    for (const locale_t callers : {LC_GLOBAL_LOCALE, own}) {
        uselocale(callers);
        EXPECT_EQ(loadedTarGz(good), (Contents{{"gr\u00f6\u00dfe", "hello"}}));
        EXPECT_EQ(uselocale(nullptr), callers);
    }
    uselocale(LC_GLOBAL_LOCALE);
    freelocale(own);
}

}  // namespace
}  // namespace bex::test

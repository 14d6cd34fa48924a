#include "Text.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace bex::tool {

namespace {

using stream::Entry;
using stream::EntryType;

TEST(Text, WritesTimesOfEveryAge) {
    EXPECT_EQ(isoTime(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(isoTime(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(isoTime(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(isoTime(253402300800), "10000-01-01T00:00:00Z");
    EXPECT_EQ(isoTime(std::numeric_limits<std::int64_t>::max()), "@9223372036854775807");
}

TEST(Text, ShowsSpecialBitsInThePlaceOfExecution) {
    const struct {
        EntryType type;
        std::uint32_t mode;
        const char* text;
    } cases[] = {
        {EntryType::file, 0, "----------"},           {EntryType::directory, 01777, "drwxrwxrwt"},
        {EntryType::file, 06755, "-rwsr-sr-x"},       {EntryType::file, 07644, "-rwSr-Sr-T"},
        {EntryType::hardlink, 0421, "hr---w---x"},    {EntryType::fifo, 0600, "prw-------"},
        {EntryType::blockDevice, 0660, "brw-rw----"}, {EntryType::characterDevice, 0666, "crw-rw-rw-"},
        {EntryType::symlink, 0777, "lrwxrwxrwx"},     {EntryType::other, 0644, "?rw-r--r--"},
    };
    for (const auto& c : cases) {
        Entry entry;
        entry.type = c.type;
        entry.mode = c.mode;
        EXPECT_EQ(modeText(entry), c.text);
    }
}

TEST(Text, RoundsBytesForPeople) {
    EXPECT_EQ(humanBytes(0), "0 B");
    EXPECT_EQ(humanBytes(1023), "1023 B");
    EXPECT_EQ(humanBytes(1536), "1.5 KiB");
    EXPECT_EQ(humanBytes(3.0 * 1024 * 1024 * 1024), "3.0 GiB");
    EXPECT_EQ(humanBytes(9e18), "8185452.3 TiB");
}

TEST(Text, CutsAndAlignsByCharactersNotBytes) {
    const std::string umlauts = "\u00e4\u00f6\u00fc\u00e4\u00f6";
    EXPECT_EQ(cutToColumns(umlauts, 5), umlauts);
    EXPECT_EQ(cutToColumns(umlauts, 4), "\u00e4...");
    EXPECT_EQ(cutToColumns(umlauts, 2), "..");
    EXPECT_EQ(cutToColumns(umlauts, 0), "");
    EXPECT_EQ(alignedTable({{"\u00e4", "1", "x"}, {"bb", "22"}, {"c"}}, {1}), "\u00e4    1  x\nbb  22\nc\n");
}

TEST(Text, FoldsValuesAsControlFilesDo) {
    EXPECT_EQ(foldedValue("one\n\ntwo \\ \n\x1b"), "one\n .\n two \\ \n \\x1b");
    EXPECT_EQ(foldedValue(""), "");
    EXPECT_EQ(escapedLines("a\\b\n\n\x7f\\", "|"), "a\\b||\\x7f\\\\");
}

}  // namespace

}  // namespace bex::tool

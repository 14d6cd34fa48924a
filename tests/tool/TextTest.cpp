#include "output/Text.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "arguments/Threads.hpp"

namespace bex::tool {

namespace {

TEST(Text, WritesTimesAndSizesOfAllMagnitudes) {
    EXPECT_EQ(isoTime(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(isoTime(253402300800), "10000-01-01T00:00:00Z");
    EXPECT_EQ(isoTime(std::numeric_limits<std::int64_t>::max()), "@9223372036854775807");
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

TEST(Threads, AreBoundedByTheProcessors) {
    EXPECT_EQ(usefulThreads(0, 2), 0);
    EXPECT_EQ(usefulThreads(5, 2), 5);
    EXPECT_EQ(usefulThreads(4294967295, 2), 8);
    EXPECT_EQ(usefulThreads(1000, 0), 4);  // Where the system does not say how many there are.
}

}  // namespace

}  // namespace bex::tool

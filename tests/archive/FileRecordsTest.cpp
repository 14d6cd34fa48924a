#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstring>
#include <string>
#include <type_traits>

#include "bex/MemoryMappedFile.hpp"

namespace bex::test {
namespace {

using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::posix_time::seconds;

TEST(ToTimeT, CountsWholeSecondsSince1970TowardsZero) {
    const ptime epoch(boost::gregorian::date(1970, 1, 1));
    const struct {
        ptime time;
        std::time_t seconds;
        const char* why;
    } cases[] = {
        {epoch, 0, "the epoch"},
        {epoch + microseconds(999999), 0, "a fraction after it"},
        {epoch - microseconds(500000), 0, "a fraction before it"},
        {epoch - seconds(1), -1, "a second before it"},
        {epoch - microseconds(1500000), -1, "truncated, not rounded down"},
        {ptime(boost::gregorian::date(2040, 1, 1)), 2208988800, "beyond 32 bits"},
        {ptime(boost::gregorian::date(1900, 1, 1)), -2208988800, "beyond 32 bits the other way"},
        {ptime(boost::posix_time::neg_infin), 0, "negative infinity"},
        {ptime(boost::posix_time::pos_infin), 2147483647, "positive infinity stays at 32 bits"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bex::to_time_t(c.time), c.seconds) << c.why;
    }
}

TEST(MemoryMappedFile, OwnsItsBufferCopiesDeeplyAndTrustsItsSize) {
    MemoryMappedFile file("first", 4);
    std::memcpy(file.bytes(), "abcd", 4);
    MemoryMappedFile copy(file);
    copy.bytes()[0] = 'X';
    copy.setName("second");
    EXPECT_EQ(std::string(file.bytes(), 4), "abcd");
    EXPECT_EQ(std::string(copy.bytes(), 4), "Xbcd");
    EXPECT_EQ(file.getName() + " " + copy.getName(), "first second");

    EXPECT_EQ(MemoryMappedFile(MemoryMappedFile("empty", 0)).getSize(), 0U);

    const char* before = file.bytes();
    file.setSize(2);
    EXPECT_EQ(file.bytes(), before);
    MemoryMappedFile shorter(file);
    EXPECT_EQ(std::string(shorter.bytes(), shorter.getSize()), "ab");
    file.setSize(1000000);
    EXPECT_EQ(file.getSize(), 1000000U);
    EXPECT_EQ(std::string(before, 4), "abcd") << "setting the size changes the number and nothing else";
}

TEST(FileRecords, ArePlainAggregatesInTheirFieldOrder) {
    char byte = 'x';
    const sFileInMemory inMemory{1, &byte, "name"};
    const FileOnDisk onDisk{"disk", "archive"};
    EXPECT_EQ(inMemory.bytes_, &byte);
    EXPECT_EQ(onDisk.pathOnDisk_ + onDisk.nameInArchive_, "diskarchive");
    static_assert(std::is_aggregate_v<sFileInMemory> && std::is_aggregate_v<FileOnDisk>);
    static_assert(std::has_virtual_destructor_v<MemoryMappedFile>);
    static_assert(!std::is_copy_assignable_v<MemoryMappedFile>);
}

}  // namespace
}  // namespace bex::test

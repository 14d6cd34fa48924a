#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstring>
#include <string>
#include <type_traits>

#include "bex/BexException.hpp"
#include "bex/MemoryMappedFile.hpp"

namespace bex::test {
namespace {

using boost::posix_time::microseconds;
using boost::posix_time::ptime;

TEST(BexException, IsAnExceptionWithItsOwnTextAndTheInheritedWhat) {
    static_assert(!std::is_base_of_v<std::runtime_error, BexException>);
    const BexException failure("the message");
    const std::exception& base = failure;
    EXPECT_STREQ(base.what(), std::exception().what());
    EXPECT_EQ(failure.getMessage(), "the message");
}

TEST(ToTimeT, CountsWholeSecondsSince1970TowardsZero) {
    const ptime epoch(boost::gregorian::date(1970, 1, 1));
    const std::pair<ptime, std::time_t> cases[] = {
        {epoch, 0},
        {epoch + microseconds(999999), 0},
        {epoch - microseconds(500000), 0},
        {epoch - microseconds(1500000), -1},
        {ptime(boost::gregorian::date(2040, 1, 1)), 2208988800},
        {ptime(boost::gregorian::date(1900, 1, 1)), -2208988800},
        {ptime(boost::posix_time::neg_infin), 0},
        {ptime(boost::posix_time::pos_infin), 2147483647},
    };
    for (const auto& [time, seconds] : cases) {
        EXPECT_EQ(bex::to_time_t(time), seconds) << time;
    }
}

TEST(MemoryMappedFile, OwnsItsBufferCopiesDeeplyAndTrustsItsSize) {
    MemoryMappedFile file("first", 4);
    std::memcpy(file.bytes(), "abcd", 4);
    MemoryMappedFile copy(file);
    copy.bytes()[0] = 'X';
    copy.setName("second");
    EXPECT_EQ(std::string(file.bytes(), 4) + std::string(copy.bytes(), 4), "abcdXbcd");
    EXPECT_EQ(file.getName() + " " + copy.getName(), "first second");
    EXPECT_EQ(MemoryMappedFile(MemoryMappedFile("empty", 0)).getSize(), 0U);

    const char* before = file.bytes();
    file.setSize(1000000);
    EXPECT_EQ(file.bytes(), before) << "setting the size changes the number and nothing else";
    EXPECT_EQ(file.getSize(), 1000000U);
    static_assert(std::has_virtual_destructor_v<MemoryMappedFile> && !std::is_copy_assignable_v<MemoryMappedFile>);
    static_assert(std::is_aggregate_v<sFileInMemory> && std::is_aggregate_v<FileOnDisk>);
}

}  // namespace
}  // namespace bex::test

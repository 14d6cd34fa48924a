#include "stream/writer/Spool.hpp"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "Failure.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Spool;

TEST(Spool, GivesBackWhatItTookAndStopsAtTheLimitBeforeTheDiskIsReached) {
    const TemporaryDirectory folder;
    FailingSystem system;
    Spool spool(folder.path().string(), "data.tar", system, 900000);
    std::string expected;
    for (std::size_t size = 1; expected.size() + size <= 900000; size = size * 3 + 1) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        spool.write(piece.data(), piece.size());
        expected += piece;
    }
    EXPECT_EQ(spool.size(), expected.size());
    const std::size_t writes = system.count("write");
    EXPECT_EQ(failureOf([&] { spool.write(expected.data(), 900001 - expected.size()); }),
              "member \"data.tar\": more than the 900000 bytes that a member of an ar archive can have");
    EXPECT_EQ(system.count("write"), writes);
    EXPECT_THAT(namesBelow(folder.path().string()), testing::IsEmpty());
    std::string back;
    spool.readBack([&](std::string_view piece) { back += piece; });
    EXPECT_TRUE(back == expected);
}

}  // namespace
}  // namespace bex::test

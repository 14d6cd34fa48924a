#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "Failure.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/StringSink.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/Building.hpp"
#include "stream/writer/Spool.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::EntryType;
using stream::Spool;
using stream::TarWriter;

Entry entryOf(const std::string& path, EntryType type, std::uint64_t size) {
    Entry entry;
    entry.path = path;
    entry.type = type;
    entry.size = size;
    return entry;
}

TEST(TarWriter, WritesNumbersBeyondOctalInBase256) {
    const struct {
        std::uint64_t size;
        std::string field;
    } cases[] = {
        {(std::uint64_t{1} << 33) - 1, "77777777777"},
        {std::uint64_t{1} << 33, std::string("\x80\0\0\0\0\0\0\x02\0\0\0\0", 12)},
        {(std::uint64_t{9} << 30) + 5, std::string("\x80\0\0\0\0\0\0\x02\x40\0\0\x05", 12)},
    };
    for (const auto& c : cases) {
        StringSink sink;
        {
            TarWriter tar(sink);
            tar.begin(entryOf("./big", EntryType::file, c.size));
            tar.write("abc", 3);
        }
        ASSERT_EQ(sink.bytes.size(), 515U) << "an encoder that is given up writes nothing more";
        EXPECT_EQ(sink.bytes.substr(124, c.field.size()), c.field);
        EXPECT_EQ(sink.bytes.substr(512), "abc");
    }
}

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

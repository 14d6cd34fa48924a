#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "stream/StringSink.hpp"
#include "stream/tar/TarWriter.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::EntryType;
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

}  // namespace
}  // namespace bex::test

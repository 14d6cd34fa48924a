#include "stream/tar/TarWriter.hpp"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "stream/StringSink.hpp"
#include "stream/tar/Judge.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::EntryType;
using stream::TarWriter;

Entry entryOf(const std::string& path, EntryType type, std::uint64_t size = 0) {
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
        ASSERT_EQ(sink.bytes.size(), 515U) << "a writer that is given up writes nothing more";
        EXPECT_EQ(sink.bytes.substr(124, c.field.size()), c.field);
        EXPECT_EQ(sink.bytes.substr(512), "abc");
    }
}

TEST(TarWriter, WritesNamesSizesAndOwnersOfAnyLengthAsLibarchiveReadsThem) {
    StringSink sink;
    TarWriter tar(sink);
    std::vector<std::string> expected;
    const auto write = [&](Entry entry) {
        entry.mode = 04751;
        entry.uid = (std::uint64_t{1} << 21) - 2 + expected.size();  // the last numbers in octal, then base 256
        entry.gid = 4294967294U;
        entry.mtime = static_cast<std::int64_t>(077777777776) + static_cast<std::int64_t>(expected.size());
        entry.owner = std::string(expected.size() % 33, 'o');
        entry.group = "users";
        const std::string contents(entry.size, 'c');
        tar.begin(entry);
        tar.write(contents.data(), contents.size());
        expected.push_back(lineOf(entry, contents));
    };
    for (const std::size_t size :
         std::initializer_list<std::size_t>{1, 99, 100, 101, 254, 255, 256, 257, 509, 510, 511, 512, 513, 5000}) {
        const std::string name(size, 'n');
        write(entryOf(name, EntryType::file, size));
        write(entryOf(name.substr(1) + '/', EntryType::directory));
        Entry link = entryOf("\xff" + name, EntryType::symlink);
        link.linkTarget = name;
        write(link);
        link.type = EntryType::hardlink;
        write(link);
    }
    tar.finish();
    EXPECT_EQ(sink.bytes.size() % 512, 0U);
    EXPECT_EQ(readByLibarchive(sink.bytes, expected.size() + 1), expected);
}

}  // namespace
}  // namespace bex::test

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include "Failure.hpp"
#include "stream/codec/Codec.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

using stream::Limits;
using stream::ReadOptions;

TEST(Limits, EachIsNamedWhenItIsExceededAndCanBeRaised) {
    const std::string at = "p.bex: member \"data.tar.gz\": ";
    const std::string mib(std::size_t{1} << 20, 'x');
    std::string many;
    for (int i = 0; i < 11; ++i) {
        many += tarFile("./" + std::to_string(i));
    }
    const struct {
        std::string package;
        void (*tighten)(Limits&);
        std::string message;
    } cases[] = {
        {packageOf("", tarFile("./postinst", mib)), [](Limits& l) { l.controlBytes = 1 << 20; },
         "p.bex: member \"control.tar.gz\": unpacks to more than 1048576 bytes (the limits controlBytes and "
         "md5sumsBytes)"},
        {packageOf("", tarFile("./md5sums", mib)),
         [](Limits& l) { l.controlBytes = 1 << 19, l.md5sumsBytes = 1 << 18; },
         "p.bex: member \"control.tar.gz\": unpacks to more than 786432 bytes (the limits controlBytes and "},
        {packageOf(tarFile("./x", mib)), [](Limits& l) { l.expansionFreeBytes = 0, l.expansionRatio = 10; },
         at + "unpacks to more than "},
        {packageOf(tarFile("./x", mib)), [](Limits& l) { l.expansionFreeBytes = 1 << 20, l.expansionRatio = 1; },
         at + "unpacks to more than 1048576 bytes (the limits expansionRatio and expansionFreeBytes)"},
        {packageOf(many), [](Limits& l) { l.entries = 10; },
         at + "more than 10 entries and directories above them (the limit entries)"},
        {packageOf(tarFile("./a/b/c/d") + tarFile("./e")), [](Limits& l) { l.entries = 3; },
         at + "more than 3 entries and directories above them (the limit entries)"},
        {packageOf(withLongName('L', std::string(200, 'n'), tarFile("./x"))), [](Limits& l) { l.nameBytes = 199; },
         at + "extended name of 200 bytes; the limit nameBytes allows 199"},
        {packageOf(withPax({{"linkpath", std::string(200, 'n')}}, tarLink("./x", "y", '2'))),
         [](Limits& l) { l.nameBytes = 199; },
         at + "name or link target of 200 bytes; the limit nameBytes allows 199"},
        {packageOf(withPax({{"comment", std::string(2000, 'n')}}, tarFile("./x"))),
         [](Limits& l) { l.extendedHeaderBytes = 2000; },
         at + "extended header of 2014 bytes; the limit extendedHeaderBytes allows 2000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        ReadOptions tight;
        c.tighten(tight.limits);
        const std::string message = listingOf(c.package, Route::file, tight);
        EXPECT_EQ(message.substr(0, c.message.size()), c.message);
        EXPECT_THAT(findingsOf(c.package, tight), testing::Contains(testing::StartsWith("limit|")));
        EXPECT_EQ(listingOf(c.package, Route::pipe, tight), message);
    }
    ReadOptions listing;  // md5sums does not count where it fits its own
    listing.limits.controlBytes = 1 << 19;
    const std::string listed = packageOf("", tarFile("./md5sums", mib));
    EXPECT_EQ(listingOf(listed, Route::file, listing), listingOf(listed));
    ReadOptions wide;
    wide.limits.nameBytes = std::size_t{1} << 19;
    const std::string package = packageOf(withLongName('L', std::string(100000, 'n'), tarFile("./x")));
    EXPECT_NE(listingOf(package).find("nameBytes allows 65536"), std::string::npos);
    EXPECT_NE(listingOf(package, Route::file, wide).find("has a component of"), std::string::npos);
}

/// Bytes in memory that counts what is read of them.
class CountingSource : public stream::Source {
public:
    explicit CountingSource(std::string bytes) : bytes_(std::move(bytes)) {}

    std::uint64_t size() override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        const std::size_t count = bytes_.copy(buffer, std::min<std::size_t>(size, 4096), offset);
        bytesRead += count;
        return count;
    }

    std::atomic<std::uint64_t> bytesRead{0};  // threads read

private:
    std::string bytes_;
};

TEST(Limits, EndABombBeforeItIsUnpackedHoweverItIsCompressed) {
    TarFields fields;
    fields.name = "./bomb";
    fields.size = "77777777777";
    const std::string tar = tarEntry(fields) + noise(4 << 20);
    ReadOptions options;
    options.limits.expansionRatio = 1;
    options.limits.expansionFreeBytes = 16 << 20;
    for (const stream::Compression compression : {stream::Compression::none, stream::Compression::gzip,
                                                  stream::Compression::zstd, stream::Compression::xz}) {
        const std::string member = arMember("data.tar" + std::string(suffixOf(compression)),
                                            packed(tar, compression, std::size_t{64} << 10));
        for (const unsigned threads : {1U, 2U}) {
            SCOPED_TRACE(nameOf(compression));
            options.threads = threads;
            const auto source = std::make_shared<CountingSource>(arOf(headOf() + member));
            stream::PackageReader reader(source, "p.bex", options);
            stream::Entry entry;
            EXPECT_TRUE(reader.next(entry));
            EXPECT_THAT(failureOf([&] { reader.next(entry); }),
                        testing::HasSubstr("unpacks to more than 16777216"));
            // Threads take in an xz block as a whole, and this one is the whole member.
            const bool wholeBlock = compression == stream::Compression::xz && threads > 1;
            EXPECT_TRUE(wholeBlock || source->bytesRead < 3U << 20) << source->bytesRead << " of 4 MiB";
        }
    }
}

TEST(Limits, EndABombThatIsReadWithinABlockOfTheLimit) {
    TarFields fields;
    fields.name = "./bomb";
    fields.size = "77777777777";
    const std::string tar = tarEntry(fields) + noise(12 << 20);
    ReadOptions options;
    options.limits.expansionRatio = 0;
    options.limits.expansionFreeBytes = 1 << 20;
    for (const stream::Compression compression :
         {stream::Compression::none, stream::Compression::gzip, stream::Compression::zstd}) {
        const std::string member = arMember("data.tar" + std::string(suffixOf(compression)),
                                            packed(tar, compression, std::size_t{1} << 20));
        for (const unsigned threads : {1U, 8U}) {
            SCOPED_TRACE(nameOf(compression));
            options.threads = threads;
            const auto source = std::make_shared<CountingSource>(arOf(headOf() + member));
            stream::PackageReader reader(source, "p.bex", options);
            stream::Entry entry;
            EXPECT_TRUE(reader.next(entry));
            char buffer[4096];
            const auto readAll = [&] {
                while (reader.read(buffer, sizeof buffer) != 0) {
                }
            };
            EXPECT_THAT(failureOf(readAll), testing::HasSubstr("unpacks to more than 1048576"));
            EXPECT_LT(source->bytesRead.load(), 3U << 20) << "of 12 MiB that the threads could read ahead";
        }
    }
}

}  // namespace
}  // namespace bex::test

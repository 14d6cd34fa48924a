#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <thread>

#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/StringSink.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::PackageReader;

/// A package of 4 MB that does not compress, with one large file between small ones.
std::string largePackage(stream::Compression compression = stream::Compression::gzip) {
    const std::string tar = tarOf(tarFile("./a", "a") + tarFile("./large", noise(4000000)) + tarFile("./z", "z"));
    const std::string name = "data.tar" + std::string(suffixOf(compression));
    return arOf(headOf() + arMember(name, packed(tar, compression, 65536)));
}

/// How often the system is asked for 4 KiB of the file while `use` reads it.
template <typename Use>
std::size_t readsOf(const std::string& path, Use use) {
    FailingSystem system;

    stream::ReadOptions options;
    options.threads = 1;
    system.limitTransfers(4096);
    stream::PackageStream package(openInput(path, system), path, options);
    package.checkStructure();
    package.readControl();
    use(package);
    return system.count("pread") + system.count("read");
}

TEST(Reading, FieldsAndListingsReadNoMoreThanTheyMust) {
    const TemporaryDirectory folder;
    const std::string path = folder.write("p.bex", largePackage());
    Entry entry;
    EXPECT_LT(readsOf(path, [](auto&) {}), 20U) << "the payload is not touched";
    EXPECT_LT(readsOf(path, [&](auto& package) { package.next(entry); }), 200U) << "only the first blocks";
    const auto listing = [&](auto& package) {
        while (package.next(entry)) {
        }
    };
    const std::string plain = folder.write("plain.bex", largePackage(stream::Compression::none));
    EXPECT_LT(readsOf(plain, listing), 200U) << "the large file is jumped over";
    EXPECT_EQ(entry.path, "./z");
}

/// Gives bytes a few at a time and counts them.
class CountedBytes final : public stream::ForwardSource {
public:
    CountedBytes(std::string_view bytes, std::size_t& given) : bytes_(bytes), given_(given) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = bytes_.copy(buffer, std::min<std::size_t>(size, 777), given_);
        given_ += count;
        return count;
    }

private:
    std::string_view bytes_;
    std::size_t& given_;
};

TEST(Reading, AForwardSourceIsReadOnceAndForFieldsNoFurtherThanControl) {
    const auto hex = [](const std::string& bytes) {
        std::string text;
        for (const char byte : bytes) {
            text += "0123456789abcdef"[static_cast<unsigned char>(byte) / 16];
        }
        return text;
    };
    const std::string bytes = packageOf(tarFile("./a", "a"), tarFile("./md5sums", hex(noise(300000))));
    std::size_t given = 0;
    stream::ReadOptions options;
    options.controlFileOnly = true;
    const PackageReader fields(std::make_unique<CountedBytes>(bytes, given), "p.bex", options);
    EXPECT_NE(fields.control().find("Package"), nullptr);
    EXPECT_EQ(fields.findControlMember("md5sums"), nullptr);
    EXPECT_LT(given, 20000U) << "of some 150000 in the control archive";
    given = 0;
    PackageReader all(std::make_unique<CountedBytes>(bytes, given), "p.bex");
    Entry entry;
    EXPECT_TRUE(all.next(entry));
    EXPECT_EQ(entry.path, "./a");
    EXPECT_FALSE(all.next(entry));
    EXPECT_NE(all.findControlMember("md5sums"), nullptr);
    EXPECT_EQ(given, bytes.size());
    given = 0;
    EXPECT_EQ(verify(std::make_unique<CountedBytes>(bytes, given), "p.bex", options).size(),
              verify(stream::Source::ofMemory(bytes), "p.bex").size());
}

TEST(Reading, GivesContentsInPiecesOfAnySizeAndLeavesOutWhatIsNotAskedFor) {
    const std::string bytes =
        packageOf(tarFile("./a", "first") + tarFile("./b", "second") + tarFile("./c", "third"),
                  tarFile("./postinst", "#!/bin/sh\n"));
    const std::string failure = reading(bytes, Route::pipe, [](PackageReader& reader) {
        Entry entry;
        char buffer[8];
        EXPECT_EQ(reader.findControlMember("postinst")->contents, "#!/bin/sh\n");
        EXPECT_EQ(reader.findControlMember("prerm"), nullptr);
        ASSERT_TRUE(reader.next(entry));
        ASSERT_EQ(reader.read(buffer, 2), 2U);
        EXPECT_EQ(std::string(buffer, 2), "fi");
        ASSERT_TRUE(reader.next(entry) && reader.next(entry));
        EXPECT_EQ(entry.path, "./c");
        ASSERT_EQ(reader.read(buffer, sizeof buffer), 5U);
        EXPECT_EQ(std::string(buffer, 5), "third");
        EXPECT_EQ(reader.read(buffer, sizeof buffer), 0U);
        EXPECT_FALSE(reader.next(entry));
        EXPECT_FALSE(reader.next(entry));
        EXPECT_EQ(reader.read(buffer, sizeof buffer), 0U);
    });
    EXPECT_EQ(failure, "");
}

TEST(Reading, AFailureIsRepeatedAndReadersCanBeMoved) {
    const std::string failure =
        reading(packageOf(tarFile("./a", "a") + tarFile("../b")), Route::file, [](auto& reader) {
            Entry entry;
            char byte = 0;
            PackageReader moved(std::move(reader));
            EXPECT_TRUE(moved.next(entry));
            EXPECT_EQ(moved.read(&byte, 1), 1U);
            EXPECT_THROW(moved.next(entry), stream::StreamError);
            EXPECT_THROW(moved.read(&byte, 0 * moved.next(entry)), stream::StreamError);
        });
    EXPECT_EQ(failure, "");
}

TEST(Reading, ReadersInSeveralThreadsDoNotDisturbEachOther) {
    const std::string bytes = packageOf(withPax({{"path", "./\xc3\xa4"}}, tarFile("./x", "one")) +
                                        tarFile("./y", std::string(100000, 'y')));
    const std::string expected = listingOf(bytes);
    std::vector<std::string> listings(4);
    std::vector<std::thread> threads;
    for (std::string& listing : listings) {
        threads.emplace_back(
            [&] { listing = listingOf(bytes, &listing == &listings[0] ? Route::pipe : Route::file); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(listings, std::vector<std::string>(4, expected));
}

TEST(Reading, IsCancelledByItsCallback) {
    const TemporaryDirectory folder;
    const std::string path = folder.write("p.bex", largePackage());
    stream::ReadOptions options;
    options.progress = [&](const stream::Progress&) { return false; };
    EXPECT_EQ(failureOf([&] { PackageReader(path, options).extract(folder / "none"); }), path + ": cancelled");
    EXPECT_EQ(namesBelow(folder / "none"), std::vector<std::string>{"a"}) << "the file that was begun is gone";
    EXPECT_EQ(failureOf([&] { stream::verify(path, options); }), path + ": cancelled");
}

TEST(Reading, GoesOnWithoutASoundParagraph) {
    const std::string package =
        arOf(arMember("debian-binary", "2.0\n") +
             arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", "no field\n")))) +
             arMember("data.tar.gz", gzipOf(tarOf(tarFile("./f", "bytes")))));
    for (const Route route : {Route::file, Route::pipe}) {
        EXPECT_THAT(listingOf(package, route), testing::HasSubstr("./f = bytes"));
        EXPECT_THAT(reading(package, route, [](PackageReader& reader) { reader.control(); }),
                    testing::StartsWith("p.bex: control:1:"));
    }
}

TEST(Reading, CopiesBothTarArchivesAsTheyAreStored) {
    const std::string tar = tarOf(tarFile("./f", "bytes")) + std::string(1000, '\0');
    const std::string package = arOf(headOf() + arMember("data.tar.gz", gzipOf(tar)) + arMember("_last", "x"));
    Entry entry;
    for (const Route route : {Route::file, Route::pipe}) {
        StringSink payload;
        EXPECT_EQ(reading(package, route,
                          [&](PackageReader& reader) {
                              reader.copyPayloadTar(payload);
                              EXPECT_FALSE(reader.next(entry));
                              EXPECT_EQ(reader.members().size(), 4U) << "the rest is checked";
                          }),
                  "");
        EXPECT_EQ(payload.bytes, tar);
        StringSink control;
        const std::string failure =
            reading(package, route, [&](PackageReader& reader) { reader.copyControlTar(control); });
        EXPECT_EQ(failure,
                  route == Route::file ? "" : "p.bex: the control archive cannot be read twice from a pipe");
        EXPECT_EQ(control.bytes, route == Route::file ? tarOf(tarFile("./control", kControlText)) : "");
        EXPECT_EQ(reading(package, route,
                          [&](PackageReader& reader) {
                              reader.next(entry);
                              reader.copyPayloadTar(payload);
                          }),
                  "p.bex: the payload has been read already");
        char byte = 0;
        EXPECT_EQ(reading(package, route, [&](PackageReader& reader) { reader.read(&byte, 1); }),
                  "p.bex: read() was called before next()");
    }
}

TEST(Reading, TellsInstalledSizeAsTotalUntilItKnowsBetter) {
    const std::string text = kControlText + "Installed-Size: 300\n";
    const std::string package =
        arOf(arMember("debian-binary", "2.0\n") +
             arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", text)))) +
             arMember("data.tar.gz", gzipOf(tarOf(tarFile("./f", std::string(600000, 'x'))))));
    std::vector<std::uint64_t> totals;
    stream::ReadOptions options;
    options.progress = [&](const stream::Progress& progress) {
        totals.push_back(progress.bytesTotal);
        return true;
    };
    for (const Route route : {Route::file, Route::pipe}) {
        listingOf(package, route, options);
        ASSERT_GE(totals.size(), 2U);
        EXPECT_EQ(totals.front(), 300U * 1024);
        EXPECT_EQ(totals.back(), 600000U);
    }
}

}  // namespace
}  // namespace bex::test

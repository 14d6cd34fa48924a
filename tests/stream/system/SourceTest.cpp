#include "bex/stream/Source.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <string>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::test {
namespace {

using stream::Descriptor;
using stream::OpenFile;
using stream::OpenInput;
using stream::Source;
using stream::System;

Descriptor openFile(const std::string& path) {
    return {open(path.c_str(), O_RDONLY | O_CLOEXEC), System::real()};
}

OpenInput inputOf(const Descriptor& file, System& system) {
    return openInput(OpenFile{file.get(), {}}, "x", system);
}

std::string readText(stream::ByteStream& stream, std::size_t size) {
    std::string text(size, '?');
    text.resize(readFully(stream, text.data(), size));
    return text;
}

TEST(Source, OfAFileIsReadByOffsetAndAPipeForward) {
    const TemporaryDirectory folder;
    for (const bool isFile : {true, false}) {
        SCOPED_TRACE(isFile);
        const Descriptor file = isFile ? openFile(folder.write("x", "0123456789")) : pipeOf("0123456789");
        lseek(file.get(), 7, SEEK_SET);  // fails on the pipe
        FailingSystem system;
        system.limitTransfers(3);
        const OpenInput input = inputOf(file, system);
        EXPECT_EQ(input.source != nullptr, isFile);
        EXPECT_EQ(readText(*input.stream, 4), "0123");
        system.clearLog();
        EXPECT_EQ(input.stream->skip(2), 2U);
        EXPECT_EQ(system.count("read") + system.count("pread") == 0, isFile);
        EXPECT_EQ(readText(*input.stream, 100), "6789");
        EXPECT_EQ(input.stream->skip(100), 0U);
        EXPECT_EQ(readText(*input.stream, 1), "");
        EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), isFile ? 7 : -1);
    }
}

TEST(Source, GivesTheBytesWithinItsWindow) {
    const TemporaryDirectory folder;
    const std::string path = folder.write("x", "0123456789");
    const Descriptor file = openFile(path);
    const std::uint64_t huge = std::numeric_limits<std::uint64_t>::max();
    const struct {
        std::shared_ptr<Source> source;
        std::string bytes;
    } cases[] = {
        {Source::ofFile(path), "0123456789"},
        {Source::ofMemory("0123456789"), "0123456789"},
        {Source::ofDescriptor(file.get(), "x"), "0123456789"},
        {Source::ofDescriptor(file.get(), "x", 3, 4), "3456"},
        {Source::ofDescriptor(file.get(), "x", 8, huge), "89"},
        {Source::ofDescriptor(file.get(), "x", 10), ""},
        {Source::ofDescriptor(file.get(), "x", huge, huge), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(c.source->size(), c.bytes.size());
        for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{10}, huge}) {
            std::string read(20, '?');
            read.resize(c.source->readAt(offset, read.data(), read.size()));
            EXPECT_EQ(read, offset < c.bytes.size() ? c.bytes.substr(offset) : "") << offset;
        }
    }
}

TEST(Source, NamesWhatCannotBeRead) {
    const TemporaryDirectory folder;
    const Descriptor directory = openFile(folder / "");
    EXPECT_EQ(failureOf([&] { Source::ofDescriptor(directory.get(), "a\nb"); }),
              "a\\nb: can't read: Is a directory");
    EXPECT_EQ(failureOf([&] { Source::ofDescriptor(-1, "x"); }), "x: can't read: Bad file descriptor");
    EXPECT_EQ(failureOf([&] { Source::ofFile(folder / "gone"); }),
              folder / "gone" + ": can't open: No such file or directory");
    EXPECT_EQ(failureOf([&] { Source::ofDescriptor(pipeOf("bytes").get(), "x"); }),
              "x: can't read by offset: Illegal seek");
    for (const char* call : {"read", "pread", "fstat"}) {
        const Descriptor file =
            std::string(call) == "read" ? pipeOf("bytes") : openFile(folder.write("x", "bytes"));
        FailingSystem system;
        system.failAt(std::string(call) == "fstat" ? 2 : 1, EIO, call);
        const auto readSome = [&] {
            const OpenInput input = inputOf(file, system);
            readText(*input.stream, 2);
            input.stream->skip(1);
        };
        EXPECT_EQ(failureOf(readSome), "x: can't read: Input/output error") << call;
    }
}

}  // namespace
}  // namespace bex::test

#include "stream/system/Source.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::test {
namespace {

using stream::Descriptor;
using stream::openSource;
using stream::Source;
using stream::System;

Descriptor openFile(const std::string& path) {
    return {open(path.c_str(), O_RDONLY | O_CLOEXEC), System::real()};
}

std::string readText(Source& source, std::size_t size) {
    std::string text(size, '?');
    text.resize(readFully(source, text.data(), size));
    return text;
}

TEST(Source, ReadsFilesByOffsetAndPipesForward) {
    const TemporaryDirectory folder;
    for (const bool isFile : {true, false}) {
        SCOPED_TRACE(isFile);
        const Descriptor input = isFile ? openFile(folder.write("x", "0123456789")) : pipeOf("0123456789");
        lseek(input.get(), 7, SEEK_SET);  // fails on the pipe
        FailingSystem system;
        system.limitTransfers(3);
        const std::unique_ptr<Source> source = openSource(input.get(), "x", system);
        const auto leftIfKnown = [&](std::uint64_t left) { return isFile ? std::optional(left) : std::nullopt; };
        EXPECT_EQ(source->left(), leftIfKnown(10));
        EXPECT_EQ(readText(*source, 4), "0123");
        system.clearLog();
        EXPECT_EQ(source->skip(2), 2U);
        EXPECT_EQ(system.count("read") + system.count("pread") == 0, isFile);
        EXPECT_EQ(source->left(), leftIfKnown(4));
        EXPECT_EQ(readText(*source, 100), "6789");
        EXPECT_EQ(source->skip(100), 0U);
        EXPECT_EQ(readText(*source, 1), "");
        EXPECT_EQ(source->left(), leftIfKnown(0));
        EXPECT_EQ(lseek(input.get(), 0, SEEK_CUR), isFile ? 7 : -1);
    }
}

TEST(Source, NamesWhatCannotBeRead) {
    const TemporaryDirectory folder;
    const Descriptor directory = openFile(folder / "");
    EXPECT_EQ(failureOf([&] { openSource(directory.get(), "a\nb", System::real()); }),
              "a\\nb: can't read: Is a directory");
    EXPECT_EQ(failureOf([&] { openSource(-1, "x", System::real()); }), "x: can't read: Bad file descriptor");
    for (const char* call : {"read", "pread", "fstat"}) {
        const Descriptor input =
            std::string(call) == "read" ? pipeOf("bytes") : openFile(folder.write("x", "bytes"));
        FailingSystem system;
        system.failAt(std::string(call) == "fstat" ? 3 : 1, EIO, call);
        const auto readSome = [&] {
            const std::unique_ptr<Source> source = openSource(input.get(), "x", system);
            readText(*source, 2);
            source->skip(1);
        };
        EXPECT_EQ(failureOf(readSome), "x: can't read: Input/output error") << call;
    }
}

}  // namespace
}  // namespace bex::test

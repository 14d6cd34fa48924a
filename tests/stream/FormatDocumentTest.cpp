#include <gtest/gtest.h>

#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/PackageWriter.hpp"

namespace {

using namespace bex::stream;

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The package of the worked example in docs/format.md.
void writeExample(const std::string& path) {
    PackageWriter writer;
    writer.control().set("Package", "hello");
    writer.control().set("Version", "1.0");
    writer.control().set("Architecture", "all");
    writer.control().set("Maintainer", "Ann Lee <ann@example.org>");
    writer.control().set("Description", "greets");
    writer.addBytes("hello\n", "usr/hello", {0644, 1700000000});
    writer.addSymlink("hello", "usr/hi", {0777, 1700000000});
    WriteOptions options;
    options.level = 0;
    options.latestTime = 1700000000;
    writer.write(path, options);
}

/// What xxd(1) prints for up to 16 bytes.
std::string dumpLine(std::string_view bytes, std::size_t offset) {
    std::ostringstream line;
    line << std::hex << std::setfill('0') << std::setw(8) << offset << ':';
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        line << (i % 2 == 0 ? " " : "") << std::setw(2) << unsigned{byte};
        text += byte >= ' ' && byte < 0x7F ? bytes[i] : '.';
    }
    return line.str() + "  " + text;
}

TEST(FormatDocument, ShowsThePackageThatIsWritten) {
    const bex::test::TemporaryDirectory folder;
    writeExample(folder / "hello.bex");
    const std::string package = folder.read("hello.bex");

    const std::string document = contentsOf(BEX_DOCS "/format.md");
    const std::size_t begin = document.find("## As the streaming library writes it");
    ASSERT_NE(begin, std::string::npos);
    const std::string section = document.substr(begin);
    EXPECT_NE(section.find("is " + std::to_string(package.size()) + " bytes long"), std::string::npos);
    const PackageReader reader(folder / "hello.bex");
    for (const Member& member : reader.members()) {
        const std::string row = "| " + std::to_string(member.offset) + " | " + std::to_string(member.size) + " |";
        EXPECT_NE(section.find(row), std::string::npos) << row;
    }

    std::istringstream lines(section);
    std::size_t dumped = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() > 8 && line[8] == ':') {
            const std::size_t offset = std::stoul(line, nullptr, 16);
            ASSERT_LT(offset, package.size());
            EXPECT_EQ(line, dumpLine(std::string_view(package).substr(offset, 16), offset));
            ++dumped;
        }
    }
    EXPECT_EQ(dumped, 18U);
}

}  // namespace

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <clocale>
#include <string>
#include <vector>

#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::PackageWriter;
using stream::WriteOptions;

/// Makes the same tree again, its files in the order given.
void makeTree(const TemporaryDirectory& folder, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::string text;
        for (int line = 0; line < 3000; ++line) {
            text += name + std::to_string(line * line) + '\n';
        }
        folder.write("tree/" + name, text);
    }
    outputOf("cd " + folder / "tree && chmod -R u=rwX,go=rX . && find . -exec touch -d @1000000 {} +");
}

std::string packageOf(const std::vector<std::string>& names, const WriteOptions& options) {
    const TemporaryDirectory folder;
    makeTree(folder, names);
    PackageWriter writer = soundWriter();
    writer.addTree(folder / "tree");
    writer.setMode("*/?", 0600);  // a "?" that is one byte here and one character in other locales
    writer.addSymlink("a", "link");
    folder.write("tool.bex", "old");
    writer.write(folder / "tool.bex", options);
    return folder.read("tool.bex");
}

TEST(Determinism, EqualInputGivesEqualBytes) {
    std::vector<std::string> names = {"a", "B", "x/\xc3\xa9", "x/z", "x/\xe9", "sub/deep/f", "sub-x", "sub/e"};
    for (const Compression compression : {Compression::gzip, Compression::zstd, Compression::xz}) {
        WriteOptions options;
        options.compression = compression;
        options.level = 3;
        options.blockBytes = 16384;
        options.threads = 1;
        const std::string expected = packageOf(names, options);
        for (const unsigned threads : {1U, 2U, 5U, 0U}) {
            std::reverse(names.begin(), names.end());
            const mode_t before = umask(threads == 2 ? 0 : 077);
            std::setlocale(LC_ALL, threads == 2 ? "C.UTF-8" : "C");
            options.threads = threads;
            EXPECT_TRUE(packageOf(names, options) == expected) << threads << " threads";
            std::setlocale(LC_ALL, "C");
            umask(before);
        }
    }
}

}  // namespace
}  // namespace bex::test

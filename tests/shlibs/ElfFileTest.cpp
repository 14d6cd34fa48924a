#include "shlibs/elf/ElfFile.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "Failure.hpp"
#include "Shell.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/StreamError.hpp"
#include "shlibs/HandMadeElf.hpp"
#include "stream/base/Owners.hpp"

namespace bex::shlibs {
namespace {

using test::failureOf;
using test::HandMadeElf;
using test::outputOf;
using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

std::vector<std::string> namesOf(const ElfFile& file) {
    std::vector<std::string> names;
    file.undefined.forEach([&](std::string_view name) { names.emplace_back(name); });
    return names;
}

ElfFile readFile(const std::string& path) {
    const stream::PlainDescriptor file(open(path.c_str(), O_RDONLY));
    return readElf(file.get(), path);
}

/// What a program uses, a variable that it copies among it, and its whole dynamic segment.
TEST(ElfFile, ReadsWhatTheLinkerWroteWithAndWithoutSections) {
    const TemporaryDirectory folder;
    folder.write("lib.c", "int value = 1; int one(void) { return 1; } int two(void) { return 2; }");
    folder.write("lib.map", "V1 { global: one; value; }; V2 { global: two; } V1;");
    folder.write("main.c",
                 "extern int value; int one(void), two(void); int main() { return one() + two() + value; }");
    outputOf("cd '" + folder.path().string() +
             "' && cc -shared -fPIC lib.c -o libdemo.so.1 -Wl,-soname,libdemo.so.1 " +
             "-Wl,--version-script=lib.map && cc -no-pie main.c -o main libdemo.so.1 "
             "-Wl,-rpath,'$ORIGIN/../lib:/opt' && " +
             "objcopy --strip-section-headers main bare 2>/dev/null || cp main bare");
    // Where objcopy cannot leave the section headers out, the header alone can say that there are none.
    std::string bare = folder.read("main");
    bare.replace(offsetof(Elf64_Ehdr, e_shoff), 8, 8, '\0');
    bare.replace(offsetof(Elf64_Ehdr, e_shnum), 4, 4, '\0');
    folder.write("bare", bare);
    for (const char* name : {"main", "bare"}) {
        SCOPED_TRACE(name);
        const ElfFile file = readFile(folder / name);
        EXPECT_THAT(file.needed, ElementsAre("libdemo.so.1", "libc.so.6"));
        EXPECT_THAT(file.searchPath, ElementsAre("$ORIGIN/../lib", "/opt"));
        EXPECT_THAT(namesOf(file), IsSupersetOf({"one@V1", "two@V2", "value@V1"}));
    }
    EXPECT_EQ(readFile(folder / "libdemo.so.1").soname, "libdemo.so.1");
}

TEST(ElfFile, ReadsFilesOfOtherMachinesAndPrefersRunpath) {
    HandMadeElf made;
    made.machine = EM_AARCH64;
    made.soname = "libx.so.2";
    made.needed = {"libc.so.6", "liby.so.1", "libc.so.6"};
    made.rPath = "/old";
    made.undefined = {{"puts", "GLIBC_2.17"}, {"plain", ""}};
    ElfFile file = readElf(made.bytes(), "made");
    EXPECT_EQ(architectureOf(file.machine), "arm64");
    EXPECT_EQ(file.soname, "libx.so.2");
    EXPECT_THAT(file.needed, ElementsAre("libc.so.6", "liby.so.1"));
    EXPECT_THAT(file.searchPath, ElementsAre("/old"));
    EXPECT_THAT(namesOf(file), ElementsAre("puts@GLIBC_2.17", "plain@Base"));
    made.runPath = "/new";
    EXPECT_THAT(readElf(made.bytes(), "made").searchPath, ElementsAre("/new"));
}

TEST(ElfFile, NeedsNothingWithoutDynamicSegment) {
    const TemporaryDirectory folder;
    folder.write("a.c", "int f(void); int g(void) { return f(); }");
    outputOf("cd '" + folder.path().string() + "' && cc -g -c a.c -o a.o && cc -g -shared -fPIC a.c -o a.so && " +
             "objcopy --only-keep-debug a.so a.debug");
    for (const char* name : {"a.o", "a.debug"}) {
        SCOPED_TRACE(name);
        const ElfFile file = readFile(folder / name);
        EXPECT_THAT(file.needed, IsEmpty());
        EXPECT_THAT(namesOf(file), IsEmpty());
    }
}

/// Every cut, and every byte changed, is read or refused: never more than an error, never without a name.
TEST(ElfFile, EndsEveryDamageInAnAnswer) {
    HandMadeElf made;
    made.soname = "libx.so.2";
    made.needed = {"libc.so.6"};
    made.undefined = {{"puts", "GLIBC_2.2.5"}, {"plain", ""}};
    const std::string sound = made.bytes();
    std::size_t refused = 0;
    const auto read = [&](const std::string& image) {
        const std::string failure = failureOf([&] { readElf(image, "made"); });
        EXPECT_TRUE(failure.empty() || failure.rfind("made: ", 0) == 0) << failure;
        refused += failure.empty() ? 0 : 1;
    };
    for (std::size_t size = 0; size < sound.size(); ++size) {
        read(sound.substr(0, size));
    }
    EXPECT_GE(refused, sound.size() - 8);
    for (std::size_t at = 0; at < sound.size(); ++at) {
        for (const char value : {'\0', '\1', '\x7f', '\x80', '\xff'}) {
            std::string damaged = sound;
            damaged[at] = value;
            read(damaged);
        }
    }
    EXPECT_THAT(failureOf([&] { readElf("no ELF", "made"); }), HasSubstr("made: is not a whole ELF file"));
}

TEST(ElfFile, ReadsAMillionSymbols) {
    HandMadeElf made;
    made.undefined.assign(1000000, {"f", ""});
    std::size_t count = 0;
    readElf(made.bytes(), "made").undefined.forEach([&](std::string_view) { ++count; });
    EXPECT_EQ(count, 1000000U);
}

}  // namespace
}  // namespace bex::shlibs

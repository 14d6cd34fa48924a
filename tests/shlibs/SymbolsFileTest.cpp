#include "shlibs/info/SymbolsFile.hpp"

#include <gmock/gmock.h>

#include <string>

#include "Failure.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::shlibs {
namespace {

using test::failureOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kText =
    "libx.so.1 libx1 #MINVER#, libx-data\n"
    "| libx1-extra #MINVER# | other\n"
    "* Build-Depends-Package: libx-dev\n"
    "# comment\n"
    "#MISSING: 1.3# gone@Base 1.3\n"
    " one@Base 1.1\n"
    " two@V2 1.2 1\n"
    " (optional|x=y z)three@Base 1.3\n"
    " (arch=!i386)four@Base 1.4\n"
    " (arch=i386)five@Base 0.1\n"
    " (arch-bits=32)six@Base 0.1\n"
    " (arch-endian=little)seven@Base 1.7\n"
    " *@OLD 2.1\n"
    " (symver)V3 2.2\n"
    " (c++)\"ns::f(int)@Base\" 2.3\n"
    " (regex)\"^re_.*x@Base$\" 2.4\n"
    " (regex)^re_ 2.5 1\n"
    " (c++|regex)\"^ns::.*\\(char\\)@Base$\" 2.6\n"
    "liby.so.1 liby1\n"
    " one@Base 9\n"
    "libx.so.1 libx1b #MINVER#\n"
    "| second #MINVER#\n"
    " late@Base 1.0.5\n";

struct Read {
    std::vector<std::string> notes;
    SymbolsFile file;

    explicit Read(const std::string& text) : file(text, "f", "amd64", notes) {}

    std::string versionOf(const std::string& symbol) {
        const auto since = file.find("libx.so.1")->find(symbol);
        return since ? std::string(since->version) + " " + *since->dependencyTemplate : "none";
    }
};

TEST(SymbolsFile, GivesVersionAndTemplateOfEachSymbol) {
    Read read(kText);
    const std::pair<const char*, const char*> cases[] = {
        {"one@Base", "1.1 libx1b #MINVER#"},
        {"two@V2", "1.2 second #MINVER#"},
        {"two@Base", "none"},
        {"three@Base", "1.3 libx1b #MINVER#"},
        {"four@Base", "1.4 libx1b #MINVER#"},
        {"five@Base", "none"},
        {"six@Base", "none"},
        {"seven@Base", "1.7 libx1b #MINVER#"},
        {"gone@Base", "none"},
        {"late@Base", "1.0.5 libx1b #MINVER#"},
        {"any@OLD", "2.1 libx1b #MINVER#"},
        {"any@V3", "2.2 libx1b #MINVER#"},
        {"_ZN2ns1fEi@Base", "2.3 libx1b #MINVER#"},
        {"re_ax@Base", "2.4 libx1b #MINVER#"},
        {"re_a@Base", "2.5 second #MINVER#"},
        {"_ZN2ns1gEc@Base", "2.6 libx1b #MINVER#"},
        {"_ZN2ns1gEi@Base", "none"},
    };
    for (const auto& [symbol, expected] : cases) {
        EXPECT_EQ(read.versionOf(symbol), expected) << symbol;
    }
    EXPECT_EQ(read.file.find("libx.so.1")->smallest, "1.0.5");
    EXPECT_EQ(read.file.find("liby.so.1")->templates, std::vector<std::string>{"liby1"});
    // Without the blank before it, this is no symbol of the library, nor its dependency.
    Read tagged("libx.so.1 libx1\n(arch=amd64)one@Base 1.0\n");
    EXPECT_EQ(tagged.versionOf("one@Base"), "none");
    EXPECT_EQ(tagged.file.find("libx.so.1")->templates, std::vector<std::string>{"libx1"});
    EXPECT_EQ(read.file.find("libz.so.1"), nullptr);
    EXPECT_THAT(read.notes, IsEmpty());
}

TEST(SymbolsFile, NotesLinesAndRefusesFilesThatBreakTheFormat) {
    Read odd("libx.so.1 libx1 #MINVER#\n one@Base\n (open 1.0\n two@Base 1.0 x\n three@Base 1.0\n");
    EXPECT_EQ(odd.versionOf("three@Base"), "1.0 libx1 #MINVER#");
    EXPECT_THAT(odd.notes,
                ElementsAre("f:2: is not a line of a symbols file", "f:3: is not a line of a symbols file",
                            "f:4: is not a line of a symbols file"));
    const std::pair<const char*, const char*> cases[] = {
        {" one@Base 1\n", "f:1: stands before the first library"},
        {"libx.so.1 a\n one@Base a:b\n", "f:2: \"a:b\" is not a version"},
        {"libx.so.1 a\n one@Base 1 1\n",
         "f: a symbol of libx.so.1 follows dependency template 1, which is not there"},
        {"libx.so.1 a\n(x)#include \"/etc/passwd\"\n", "f:2: #include belongs to source packages"},
        {"libx.so.1 a\n (regex)(a)\\1 1\n",
         "f:2: the regular expression cannot be used: invalid escape sequence: \\\\1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(failureOf([&] { Read(c.first).file.find("libx.so.1"); }), c.second);
    }
}

/// Expressions that a backtracking engine never ends with, and more of them than any library has use for.
TEST(SymbolsFile, BoundsTheWorkOfPatterns) {
    std::string text = "libx.so.1 libx1 #MINVER#\n";
    for (int i = 0; i < 1000; ++i) {
        text += " (regex)^(a+)+" + std::to_string(i) + "b$ 1.0\n";
    }
    Read read(text);
    const std::string symbol = std::string(10000, 'a') + "@Base";
    EXPECT_THAT(failureOf([&] {
                    for (int i = 0; i < 100; ++i) {
                        read.file.find("libx.so.1")->find(symbol);
                    }
                }),
                HasSubstr("f: its patterns would take too much time"));
    // A name whose demangled form doubles forty times is no match, and takes no memory.
    std::string bomb = "_Z1fSt4pairIiiE";
    for (int i = 0; i < 40; ++i) {
        bomb += "St4pairIS" + std::string(1, static_cast<char>('0' + i % 10)) + "_S_E";
    }
    Read cxx("libx.so.1 libx1 #MINVER#\n (c++)\"f()@Base\" 1.0\n");
    EXPECT_EQ(cxx.versionOf(bomb + "@Base"), "none");
    EXPECT_EQ(cxx.versionOf("_Z1fv@Base"), "1.0 libx1 #MINVER#");
}

}  // namespace
}  // namespace bex::shlibs

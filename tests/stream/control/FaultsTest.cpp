#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"

namespace {

using bex::stream::ControlParagraph;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const sound =
    "Package: hello\nVersion: 2.10-3\nArchitecture: amd64\nMaintainer: Ann Lee <ann@example.org>\n"
    "Description: greets\n";

ControlParagraph with(const std::string& field, const std::string& value) {
    ControlParagraph control = ControlParagraph::parse(sound, "sound");
    control.set(field, value);
    return control;
}

struct FieldCase {
    const char* field;
    std::vector<std::string> accepted;
    std::vector<std::string> refused;
};

// Where a value is only warned of or let pass by dpkg-deb 1.21 but refused here, Debian Policy forbids it.
const FieldCase fieldCases[] = {
    {"Package",
     {"ab", "0ad", "libstdc++6", "a.b-c"},
     {"a", "Abc", "ab_c", "+ab", "-ab", ".ab", "a b", "a/b", "ab~", "a\xC3\xA9", "ab\nc"}},
    {"Version",
     {"1", "1.0~rc1-2", "1:1", "0:1:1", "01:1", "2147483647:1", "1-1-2", "1+b1", "1-1~", "1~", "1a-a+b"},
     {"a1",  "a:1",  "-1:1", ":1",        "2147483648:1", "18446744073709551617:1",
      "1:",  "1:-1", "1-",   "1:1-",      "-1",           "1 2",
      "1_2", "1-1_", "1%",   "1-a:b",     "0:a",          "~1",
      ".1",  "+1",   "1/2",  "1\xC3\xA9", "1\n2"}},
    {"Architecture",
     {"all", "i386", "kfreebsd-amd64", "x32"},
     {"amd64 i386", "foo_bar", "-foo", "foo/bar", "any", "linux-any", "any-amd64", "source", "a\nb"}},
    {"Maintainer",
     {"Ann Lee <ann@example.org>", "Ann <a@b>", "Lee, Ann <a@b>", "\xC3\xA9 \"x\" (y) <a@b>"},
     {"Ann", "Ann <>", "<a@b>", "Ann<a@b>", "Ann <ann>", "Ann <@b>", "Ann <a@>", "a@b.org", "Ann <a@b",
      "Ann <a@b> x", "A <a@b>, B <b@c>", "Ann <a b@c>", "Ann\n <a@b>"}},
    {"Description", {"short", "short\nlong"}, {"\nlong"}},
    {"Source",
     {"ab", "ab (1.0)", "ab (1:2-3)"},
     {"Ab", "a", "ab (", "ab ()", "ab (x)", "ab 1.0", "ab(1)", "ab (1) x"}},
    {"Section", {"admin", "non-free/x11"}, {"x y", "/x", "x/", "a//b", "\xC3\xA9", "a\nb"}},
    {"Priority", {"optional", "extra", "opt", "my-own"}, {"optionals", "extra-1", "Foo", "foo bar", "\xC3\xA9"}},
    {"Installed-Size", {"0", "12", "99999999999999999999"}, {"-1", "+1", "x", "1.5", "12 kB", "12\n"}},
    {"Essential", {"yes", "no", "YES"}, {"maybe", "true", "yes x", "yes\nx"}},
    {"Protected", {"yes", "No"}, {"x", "1"}},
    {"Multi-Arch", {"no", "same", "foreign", "Allowed"}, {"x", "same foreign"}},
    {"Depends",
     {"x", "x|y", "x | y:any (>= 1), z", "x(>>1)", "x ( = 1 )", "x\n , y", "x:amd64 (<< 1:2-3)", "X_1.2+"},
     {",",       "x,",       ",x",        "x, ,y",        "x |",       "| x",        "x y",
      "x: any",  "x:",       "x:any:any", "x:-a",         "x:a_b",     "x/y",        "_x",
      "+x",      "\xC3\xA9", "x [amd64]", "x <!nocheck>", "x (1)",     "x ()",       "x(",
      "x (>> 1", "x (> 1)",  "x (< 1)",   "x (== 1)",     "x (=> 1)",  "x (!= 1)",   "x (>\n= 1)",
      "x (>=)",  "x (>= a)", "x (= 1-)",  "x (>= 1 2)",   "x (>= 1))", "x (>= 1) y", "x (>= 1)(>= 2)"}},
    {"Pre-Depends", {"x | y (<= 1)"}, {"x y"}},
    {"Recommends", {"x | y"}, {"x y"}},
    {"Suggests", {"x | y"}, {"x y"}},
    {"Enhances", {"x | y"}, {"x y"}},
    {"Breaks", {"x (<< 1), y"}, {"x | y"}},
    {"Conflicts", {"x (<< 1), y"}, {"x | y"}},
    {"Replaces", {"x (<< 1), y"}, {"x | y"}},
    {"Provides", {"x (= 1), y"}, {"x | y", "x (>= 1)"}},
    {"Status", {}, {"install ok installed"}},
    {"Config-Version", {}, {"1"}},
    {"Conffiles", {}, {"\n/etc/x 0123456789abcdef0123456789abcdef"}},
    {"Triggers-Pending", {}, {"x"}},
    {"Triggers-Awaited", {}, {"x"}},
    {"Homepage", {"anything at all"}, {"", "\xFF"}},
    {"X", {}, {"a name of one letter"}},
};

TEST(Faults, JudgeEachFieldByItsSyntax) {
    for (const auto& c : fieldCases) {
        for (const auto& value : c.accepted) {
            EXPECT_THAT(with(c.field, value).faults(), IsEmpty()) << c.field << ": " << value;
        }
        for (const auto& value : c.refused) {
            const auto faults = with(c.field, value).faults();
            ASSERT_EQ(faults.size(), 1U) << c.field << ": " << value;
            EXPECT_THAT(faults[0], testing::HasSubstr(c.field)) << value;
        }
    }
}

TEST(Faults, AreAllToldAtOnceWithWhatIsMissingFirst) {
    EXPECT_THAT(ControlParagraph().faults(),
                ElementsAre("Package is missing", "Version is missing", "Architecture is missing",
                            "Maintainer is missing", "Description is missing"));
    ControlParagraph control = with("ESSENTIAL", "maybe");
    control.remove("Version");
    control.set("Package", "\x1B[2J" + std::string(100, 'a'));
    control.set("Section", "");
    EXPECT_THAT(control.faults(), ElementsAre("Version is missing",
                                              "Package \"\\x1b[2J" + std::string(56, 'a') +
                                                  "...\" must begin with a lower-case letter or a digit",
                                              "ESSENTIAL \"maybe\" must be yes or no", "Section is empty"));
}

TEST(Faults, SeeFieldsThatContradictEachOther) {
    ControlParagraph control = with("Multi-Arch", "same");
    control.set("Architecture", "all");
    EXPECT_THAT(control.faults(), ElementsAre("Multi-Arch \"same\" contradicts Architecture \"all\""));
}

TEST(Faults, TellWhichRelationIsWrong) {
    EXPECT_THAT(
        with("Depends", "ab (>= 1), cd (= x1)").faults(),
        ElementsAre("Depends \"ab (>= 1), cd (= x1)\" gives \"cd\" the version \"x1\", which must begin with "
                    "a digit"));
    EXPECT_THAT(with("Provides", "ab (>> 1)").faults(),
                ElementsAre("Provides \"ab (>> 1)\" must use = for the version of \"ab\""));
}

}  // namespace

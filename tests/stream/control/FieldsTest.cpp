#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Escape.hpp"

namespace {

using bex::stream::ControlParagraph;
using testing::ElementsAre;
using testing::IsEmpty;

struct Rule {
    const char* field;
    const char* fault;  ///< "" where the values are sound
    std::vector<std::string> values;
};

constexpr const char* kPattern = "must be one architecture, not a pattern";
constexpr const char* kArchitecture = "must be one architecture of lower-case letters, digits and hyphens";
constexpr const char* kInstalled = "is allowed only among dpkg's installed packages";
constexpr const char* kOperator = R"(must use <<, <=, =, >= or >> for the version of "xy")";

// What dpkg-deb refuses is refused, and what Debian Policy forbids of these fields.
const std::vector<Rule> kRules = {
    {"Package", "", {"ab", "0ad", "libstdc++6", "a.b-c"}},
    {"Package", "must have at least two characters", {"a"}},
    {"Package", "must begin with a lower-case letter or a digit", {"Abc", "+ab", "-ab", ".ab"}},
    {"Package",
     "may hold only lower-case letters, digits and + - .",
     {"ab_c", "a b", "a/b", "ab~", "aé", "aB", "ab\nc"}},
    {"Version",
     "",
     {"1", "1.0~rc1-2", "1:1", "0:1:1", "01:1", "2147483647:1", "1-1-2", "1+b1", "1-1~", "1~", "1a-a+b"}},
    {"Version", "must begin with a digit", {"a1", "0:a", "~1", ".1", "+1"}},
    {"Version", "must have a number as its epoch", {"a:1", "-1:1", ":1", "1-a:b"}},
    {"Version", "must have an epoch of at most 2147483647", {"2147483648:1", "18446744073709551617:1"}},
    {"Version", "must have an upstream version", {"1:", "1:-1", "-1"}},
    {"Version", "must not end with a hyphen", {"1-", "1:1-"}},
    {"Version",
     "may hold only letters, digits and . + - ~ (: after an epoch)",
     {"1 2", "1_2", "1%", "1/2", "1é", "1\n2", "1)"}},
    {"Version", "may hold only letters, digits and . + ~ in its revision", {"1-1_"}},
    {"Architecture", "", {"all", "i386", "kfreebsd-amd64", "x32"}},
    {"Architecture", kArchitecture, {"ALL", "Amd64", "amd64 i386", "foo_bar", "-foo", "foo/bar", "a\nb"}},
    {"Architecture", kPattern, {"any", "linux-any", "any-amd64", "source"}},
    {"Maintainer", "", {"Ann Lee <ann@example.org>", "Ann <a@b>", "Lee, Ann <a@b>", "é \"x\" (y) <a@b>"}},
    {"Maintainer",
     "must be of the form Name <address>",
     {"Ann", "Ann <>", "<a@b>", "Ann<a@b>", "Ann <ann>", "Ann <@b>", "Ann <a@>", "a@b.org", "Ann <a@b",
      "Ann <a@b> x", "A <a@b>, B <b@c>", "Ann <a b@c>", "Ann\n <a@b>"}},
    {"Description", "", {"short", "short\nlong"}},
    {"Description", "must have a synopsis in its first line", {"\nlong"}},
    {"Source", "", {"ab", "ab (1.0)", "ab (1:2-3)"}},
    {"Source",
     R"(names the package "Ab", which must begin with a lower-case letter or a digit)",
     {"Ab", "Ab (1)"}},
    {"Source", R"(names the package "a", which must have at least two characters)", {"a"}},
    {"Source", "must have its version in parentheses", {"ab (", "ab 1.0", "ab (1) x"}},
    {"Source", "must have an upstream version", {"ab ()"}},
    {"Section", "", {"admin", "non-free/x11"}},
    {"Section", "must be a word, or two with a slash between", {"x y", "/x", "x/", "a//b", "a/b/c", "é", "a\nb"}},
    {"Priority", "", {"required", "important", "standard", "optional", "extra"}},
    {"Priority",
     "must be required, important, standard, optional or extra",
     {"high", "Optional", "optionals", "opt", "foo bar", "unknown"}},
    {"Installed-Size", "", {"0", "12", "99999999999999999999"}},
    {"Installed-Size", "must be a number of kibibytes", {"-1", "+1", "x", "1.5", "12 kB", "12\n"}},
    {"Essential", "", {"yes", "no", "YES"}},
    {"Essential", "must be yes or no", {"maybe", "true", "yes x", "yes\nx"}},
    {"Protected", "must be yes or no", {"x", "1"}},
    {"Build-Essential", "must be yes or no", {"x"}},
    {"Multi-Arch", "", {"no", "foreign", "Allowed"}},
    {"Multi-Arch", "must be no, same, foreign or allowed", {"x", "same foreign"}},
    {"Homepage", "", {"anything at all", "\x01", "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF\xEE\x80\x80"}},
    {"Homepage",
     "must be UTF-8",
     {"\xFF", "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
      "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80-\xFF\xFE", "\xE2\x82", "\xF0\x9F\x98-", "\xC3\xC3\xA9"}},
    {"Homepage", R"(holds "\x1a", which dpkg does not read as text)", {"\x1A", "a\n b\x1A"}},
    {"Homepage", R"(holds "\x0b", which dpkg does not read as text)", {"\x0B", "a\n \x0B"}},
    {"Status", kInstalled, {"install ok installed"}},
    {"Config-Version", kInstalled, {"1"}},
    {"Conffiles", kInstalled, {"\n/etc/x 0123456789abcdef0123456789abcdef"}},
    {"Triggers-Pending", kInstalled, {"x"}},
    {"Triggers-Awaited", kInstalled, {"x"}},
    {"Depends",
     "",
     {"xy", "xy|yz", "xy | yz:any (>= 1), z2", "xy(>>1)", "xy ( = 1 )", "xy\n , yz", "xy:amd64 (<< 1:2-3)"}},
    {"Depends", R"(lacks a package name at its end)", {"xy,", "xy |"}},
    {"Depends", R"(lacks a package name at ",xy")", {",xy", "xy, ,xy"}},
    {"Depends", R"(lacks a package name at "_xy")", {"_xy"}},
    {"Depends", R"(holds "yz" out of place)", {"xy yz", "xy (>= 1) yz"}},
    {"Depends", R"(lacks an architecture after "xy")", {"xy: any", "xy:", "xy:-a"}},
    {"Depends", R"(holds ":any" out of place)", {"xy:any:any"}},
    {"Depends", R"(holds "[amd64]" out of place)", {"xy [amd64]"}},
    {"Depends", R"(holds "<!nocheck>" out of place)", {"xy <!nocheck>"}},
    {"Depends", R"(names the package "Xy", which must begin with a lower-case letter or a digit)", {"aa | Xy"}},
    {"Depends", R"(names the package "x_y", which may hold only lower-case letters, digits and + - .)", {"x_y"}},
    {"Depends",
     R"(names the architecture "linux-any", which must be one architecture, not a pattern)",
     {"xy:linux-any"}},
    {"Depends",
     kOperator,
     {"xy (1)", "xy ()", "xy(", "xy (> 1)", "xy (< 1)", "xy (== 1)", "xy (=> 1)", "xy (>\n= 1)"}},
    {"Depends", R"(lacks a closing parenthesis after the version of "xy")", {"xy (>> 1", "xy (>= 1 2)"}},
    {"Depends", R"(gives "xy" the version "a", which must begin with a digit)", {"ab (>= 1), xy (= a)"}},
    {"Depends", "must begin in its first line, or dpkg refuses it", {"\nxy"}},
    {"Depends",
     "contains an empty line, and the dot that stands for it in the file would be read as a package name",
     {"xy,\n\nyz", "xy\n"}},
    {"Pre-Depends", "", {"xy | yz (<= 1)"}},
    {"Breaks", "", {"xy (<< 1), yz"}},
    {"Provides", "", {"xy (= 1), yz"}},
    {"Provides", R"(must use = for the version of "xy")", {"xy (>> 1)"}},
    {"Built-Using", "", {"gcc-12 (= 12.2.0-14), xy (= 1)"}},
    {"Built-Using", R"(lacks a version of "gcc")", {"gcc", "xy (= 1), gcc"}},
    {"Static-Built-Using", R"(must use = for the version of "xy")", {"xy (>= 1)"}},
    {"Static-Built-Using", R"(may not hold an architecture after "xy")", {"xy:amd64 (= 1)"}},
};

ControlParagraph soundParagraph() {
    return ControlParagraph::parse(
        "Package: hello\nVersion: 1\nArchitecture: all\nMaintainer: A <a@b>\nDescription: d\n", "control");
}

TEST(Fields, AreCheckedValueByValue) {
    for (const Rule& rule : kRules) {
        for (const std::string& value : rule.values) {
            ControlParagraph control = soundParagraph();
            control.set(rule.field, value);
            std::vector<std::string> expected;
            if (*rule.fault != '\0') {
                expected = {rule.field + (" \"" + bex::stream::escapeForDisplay(value)) + "\" " + rule.fault};
            }
            EXPECT_EQ(control.faults(), expected) << rule.field << ": " << value;
        }
    }
}

TEST(Fields, OfRelationsAllowAlternativesOnlyInSome) {
    for (const char* field : {"Pre-Depends", "Recommends", "Suggests", "Enhances"}) {
        ControlParagraph control = soundParagraph();
        control.set(field, "xy | yz");
        EXPECT_THAT(control.faults(), IsEmpty()) << field;
    }
    for (const char* field : {"Breaks", "Conflicts", "Replaces", "Provides", "Built-Using"}) {
        ControlParagraph control = soundParagraph();
        control.set(field, "xy (= 1) | yz");
        EXPECT_THAT(control.faults(),
                    ElementsAre(field + std::string(" \"xy (= 1) | yz\" may not hold alternatives")));
    }
}

TEST(Fields, AreCheckedTogether) {
    ControlParagraph control = soundParagraph();
    control.remove("version");
    control.set("X", "a name of one letter");
    control.set("Section", "");
    control.set("Multi-Arch", "same");
    EXPECT_THAT(control.faults(),
                ElementsAre("Version is missing", "the field name \"X\" is too short", "Section is empty",
                            "Multi-Arch \"same\" contradicts Architecture \"all\""));
}

}  // namespace

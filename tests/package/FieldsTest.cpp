#include <gmock/gmock.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

struct Value {
    std::string text;
    bool accepted;
    const char* why;
};

using Setter = void (ZRBex::*)(const std::string&);

/// Tries each value after `old`, which a refused one must leave in place with `message` as the reason.
void expectGuarded(const std::string& field, Setter set, const std::string& old, const std::string& message,
                   const std::vector<Value>& values) {
    for (const Value& value : values) {
        SCOPED_TRACE(value.why);
        ZRBex package;
        EXPECT_THAT(failureOf([&] { (package.*set)(value.text); }),
                    testing::MatchesRegex(value.accepted ? "" : message));
        EXPECT_EQ(package.getMetaData().size(), value.accepted ? 1U : 0U);
        (package.*set)(old);
        failureOf([&] { (package.*set)(value.text); });
        EXPECT_EQ(package.getMetaData().at(field), value.accepted ? value.text : old);
    }
}

TEST(Fields, AreStoredAsGivenUnderTheirOwnNames) {
    const struct {
        Setter set;
        const char* field;
    } setters[] = {
        {&ZRBex::setVersion, "Version"},           {&ZRBex::setPackageName, "Package"},
        {&ZRBex::setArchitecture, "Architecture"}, {&ZRBex::setDescription, "Description"},
        {&ZRBex::setSection, "Section"},           {&ZRBex::setPriority, "Priority"},
    };
    for (const auto& s : setters) {
        for (const std::string value : {"", " Mixed CASE \n: ", "\xff"}) {
            ZRBex package;
            (package.*s.set)("first");
            (package.*s.set)(value);
            EXPECT_THAT(package.getMetaData(), ElementsAre(Pair(s.field, value)));
        }
    }
}

TEST(Fields, TakeForEssentialYesOrNoOnly) {
    expectGuarded("Essential", &ZRBex::setEssential, "yes",
                  "Incorrect format for field Essential. It must be yes or no",
                  {{"yes", true, "yes"},
                   {"no", true, "no"},
                   {"Yes", false, "a capital"},
                   {"YES", false, "capitals"},
                   {"yes ", false, "a blank behind"},
                   {"yes\n", false, "a line feed behind"},
                   {"y", false, "a part"},
                   {"yesno", false, "both"},
                   {"", false, "nothing"}});
}

TEST(Fields, TakeForMaintainerTwoNamesAndAnAddress) {
    std::string exhausting;
    for (int i = 0; i < 500; ++i) {
        exhausting += " <";
    }
    expectGuarded("Maintainer", &ZRBex::setMaintainer, "Old Name <old@example.org>",
                  "Incorrect format for field Maintainer.It must be of this form: Firstname Lastname "
                  "<[a-z.]+@[a-z]+[.][a-z.]+>",
                  {{"Ann Lee <ann@example.org>", true, "the usual form"},
                   {"Ann van Lee <ann@example.org>", true, "three names"},
                   {"Ann Lee <ann@example.org", true, "the closing bracket may be missing"},
                   {"Ann Lee <ann@example.org> (home)", true, "anything behind the dot"},
                   {"Ann Lee <ann@example.org>\n", true, "a line feed too"},
                   {"Ann\nLee B <ann@example.org>", true, "and in the middle"},
                   {"Ann <ann@example.org>", false, "one name"},
                   {"Ann Lee <ann@example>", false, "no dot behind the @"},
                   {"Ann Lee <ann.example.org>", false, "no @"},
                   {"Ann Lee ann@example.org", false, "no bracket"},
                   {"Ann Lee<ann@example.org>", false, "no blank before the bracket"},
                   {"Ann Lee <@example.org>", false, "nothing before the @"},
                   {"Ann Lee <ann@example.", false, "nothing behind the dot"},
                   {"", false, "nothing"},
                   {exhausting, false, "what exhausts the matcher"},
                   {exhausting + "@" + exhausting, false, "the same with an @"}});
}

TEST(Fields, ThatAreMandatoryAreAskedForInOrderAndCanBeGivenAfterwards) {
    const TemporaryDirectory dir;
    Package package(dir / "p.bex");
    package.with("file", "1");
    const CapturedOutput output;
    const struct {
        Setter set;
        const char* message;
    } missing[] = {
        {&ZRBex::setVersion, "Missing version."},
        {&ZRBex::setPackageName, "Missing package name."},
        {&ZRBex::setDescription, "Missing description"},
    };
    for (const auto& m : missing) {
        EXPECT_EQ(failureOf([&] { package.close(); }), m.message) << "absent";
        (package.*m.set)("");
        EXPECT_EQ(failureOf([&] { package.close(); }), m.message) << "empty";
        (package.*m.set)("x");
    }
    EXPECT_FALSE(fs::exists(dir / "p.bex")) << "nothing is written before the fields are right";
    EXPECT_EQ(failureOf([&] { package.close(); }), "");
    EXPECT_EQ(contentsOf(memberOf(dir / "p.bex", "data.tar.gz")), (Contents{{"file", "1"}}));
}

}  // namespace
}  // namespace bex::test

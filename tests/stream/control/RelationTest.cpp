#include "bex/stream/Relation.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Failure.hpp"

namespace {

using bex::stream::Alternatives;
using bex::stream::Candidate;
using bex::stream::ControlParagraph;
using bex::stream::formatRelations;
using bex::stream::parseRelations;
using bex::stream::Version;
using bex::test::failureOf;

TEST(Version, OrdersAsDpkgDoes) {
    // Each line holds versions that are equal; the lines are in order.
    const std::vector<std::vector<const char*>> ordered = {
        {"0~~"},
        {"0~~a"},
        {"0~"},
        {"0", "0-0", "0:0", "00"},
        {"0a"},
        {"0+"},
        {"0.a"},
        {"1~rc1"},
        {"1", "01", "1-0", "1-00"},
        {"1-0.1"},
        {"1-1~"},
        {"1-1"},
        {"1-1+b1"},
        {"1-9"},
        {"1-10"},
        {"1a"},
        {"1aB"},
        {"1ab"},
        {"1+"},
        {"1.0.1"},
        {"1.2"},
        {"1.10"},
        {"1.99999999999999999999"},
        {"1.100000000000000000000"},
        {"2"},
        {"1:0"},
        {"1:1:1"},
        {"2147483647:0"},
    };
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        for (std::size_t k = 0; k < ordered.size(); ++k) {
            const Version left = Version::parse(ordered[i].front());
            const Version right = Version::parse(ordered[k].back());
            EXPECT_EQ(left < right, i < k) << ordered[i].front() << ' ' << ordered[k].back();
            EXPECT_EQ(left == right, i == k) << ordered[i].front() << ' ' << ordered[k].back();
        }
    }
    for (const char* text : {"1-2-3", "1:1:1-1", "0:1:1", "0"}) {
        EXPECT_EQ(Version::parse(text).format(), text);
    }
    EXPECT_EQ(Version::parse("0:1-2").format(), "1-2");
    EXPECT_EQ(failureOf([] { Version::parse("1 "); }),
              "the version \"1 \" may hold only letters, digits and . + - ~ (: after an epoch)");
}

TEST(Relation, IsSatisfiedByNameVersionArchitectureAndProvides) {
    const struct {
        const char* relation;
        const char* package;  ///< the version, and further fields
        const char* own;      ///< the architecture of the package that has the relation
        bool satisfied;
    } cases[] = {
        {"pp", "2\nArchitecture: amd64", "amd64", true},
        {"qq", "2\nArchitecture: amd64", "amd64", false},
        {"pp (<< 2)", "2\nArchitecture: amd64", "amd64", false},
        {"pp (<= 2)", "2-0\nArchitecture: amd64", "amd64", true},
        {"pp (= 2)", "2\nArchitecture: amd64", "amd64", true},
        {"pp (>= 2)", "1.9\nArchitecture: amd64", "amd64", false},
        {"pp (>> 2)", "2.1\nArchitecture: amd64", "amd64", true},
        {"pp", "2\nArchitecture: amd64", "i386", false},
        {"pp", "2\nArchitecture: all", "amd64", true},
        {"pp", "2\nArchitecture: all", "i386", false},
        {"pp", "2\nArchitecture: amd64", "all", true},
        {"pp", "2\nArchitecture: i386\nMulti-Arch: foreign", "amd64", true},
        {"pp:amd64", "2\nArchitecture: i386\nMulti-Arch: foreign", "amd64", false},
        {"pp:i386", "2\nArchitecture: i386", "amd64", true},
        {"pp:any", "2\nArchitecture: i386\nMulti-Arch: allowed", "amd64", true},
        {"pp:any", "2\nArchitecture: amd64", "amd64", false},
        {"vv", "2\nArchitecture: amd64\nProvides: ww, vv", "amd64", true},
        {"vv (>= 1)", "2\nArchitecture: amd64\nProvides: vv", "amd64", false},
        {"vv (>= 1)", "2\nArchitecture: amd64\nProvides: vv (= 1)", "amd64", true},
        {"vv", "2\nArchitecture: amd64\nProvides: vv:i386", "amd64", false},
        {"vv:any", "2\nArchitecture: amd64\nProvides: vv:any", "amd64", true},
    };
    for (const auto& c : cases) {
        const std::string text = std::string("Package: pp\nVersion: ") + c.package + "\n";
        const Candidate candidate = Candidate::of(ControlParagraph::parse(text, "control"));
        const std::vector<Alternatives> groups = parseRelations(c.relation);
        EXPECT_EQ(groups[0][0].satisfiedBy(candidate, {"amd64", c.own, false}), c.satisfied) << c.relation << text;
        const bool isNamed = std::string(c.relation) == "pp";
        EXPECT_TRUE(!isNamed || groups[0][0].satisfiedBy(candidate, {"amd64", c.own, true})) << c.relation << text;
    }
}

TEST(Relation, IsReadAndWritten) {
    EXPECT_EQ(formatRelations(parseRelations("libc6(>>2.36)|mail:any ,\n X_1 ( = 0:1 )")),
              "libc6 (>> 2.36) | mail:any, X_1 (= 1)");
    EXPECT_EQ(failureOf([] { parseRelations("a [amd64]"); }),
              "the dependency field \"a [amd64]\" holds \"[amd64]\" out of place");
    EXPECT_EQ(failureOf([] { Candidate::of(ControlParagraph()); }), "Package is missing");
}

}  // namespace

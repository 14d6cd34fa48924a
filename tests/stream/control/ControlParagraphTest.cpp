#include "bex/stream/ControlParagraph.hpp"

#include <gtest/gtest.h>

#include <string>

#include "Failure.hpp"

namespace {

using namespace std::string_literals;
using bex::stream::ControlParagraph;
using bex::test::failureOf;

TEST(ControlParagraph, SetsInPlaceAndRemovesInAnyCase) {
    ControlParagraph control = ControlParagraph::parse(
        "Package: hello\nVersion: 2.10-3\nDepends: libc6 (>= 2.36),\n\tmail | exim4\n# a remark\n"
        "Description: greets\n Says hello.\n .\n  as it stands\n",
        "control");
    EXPECT_EQ(control.find("Descriptio"), nullptr);
    control.set("version", "3");
    control.set("New", "4");
    EXPECT_TRUE(control.remove("PACKAGE"));
    EXPECT_FALSE(control.remove("PACKAGE"));
    for (const char* name : {"", "-a", "#a", "a b", "a:", "a\n", "a\xC3\xA9"}) {
        EXPECT_NE(failureOf([&] { control.set(name, "x"); }), "") << name;
    }
    EXPECT_EQ(failureOf([&] { control.set("Xa", "a\0"s); }), "the value of \"Xa\" holds a NUL");
    EXPECT_EQ(control.format(),
              "Version: 3\nDepends: libc6 (>= 2.36),\n mail | exim4\n"
              "Description: greets\n Says hello.\n .\n  as it stands\nNew: 4\n");
}

}  // namespace

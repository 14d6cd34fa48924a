#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stream/control/Conffiles.hpp"
#include "stream/control/MemberOddities.hpp"

// What is expected here is what dpkg 1.21.22 does with such packages.
namespace {

using namespace bex::stream;
using namespace std::string_literals;

std::string linesOf(const std::vector<Oddity>& oddities) {
    std::string text;
    for (const Oddity& oddity : oddities) {
        const char* severity = oddity.severity == Severity::error ? "E " : "W ";
        text += (text.empty() ? "" : "; ") + (severity + std::string(oddity.code)) + ": " + oddity.reason;
    }
    return text;
}

TEST(Oddities, OfControl) {
    EXPECT_EQ(linesOf(controlOddities("\nA1: b\r\n #c : d\n:e\nF1:g : h\n\n")), "");
    EXPECT_EQ(linesOf(controlOddities("A1\t: b\n# c : d\nE1 : f\n\r\n#g")),
              "E control-comment: line 2 is a comment, which dpkg does not read in packages; "
              "E control-carriage-return: line 4 holds only a carriage return; "
              "W control-colon: line 1 has a blank before the colon; "
              "E control-newline: the last line lacks its newline");
}

TEST(Oddities, OfTriggers) {
    const std::string longest = "interest " + std::string(245, 'a');
    const struct {
        std::string text;
        const char* fault;
    } cases[] = {
        {"", ""},
        {"\n \t\n # x\n#\xC3\n", ""},
        {"interest foo\n\tinterest-await\tA+b.c-d \ninterest-noawait 0\ninterest /a b\n",
         "line 4 has the invalid trigger name \"/a b\""},
        {"interest /usr/~a:b\nactivate foo\nactivate-await /\nactivate-noawait a_b\nactivate #\n", ""},
        {longest + "\n", ""},
        {longest + "a\n", "line 1 is longer than 254 bytes"},
        {"#\n" + std::string(255, '#') + "\n", "line 2 is longer than 254 bytes"},
        {"interest a", "the last line lacks its newline"},
        {"bogus x\n", "line 1 has the unknown directive \"bogus\""},
        {"Interest x\n", "line 1 has the unknown directive \"Interest\""},
        {"interest\vx\n", "line 1 has the unknown directive \"interest\\x0bx\""},
        {"activate \n", "line 1 lacks the name of a trigger"},
        {"interest x\r\n", "line 1 has the invalid trigger name \"x\\x0d\""},
        {"activate \xC3\xA9\n", "line 1 has the invalid trigger name \"é\""},
        {"interest foo # c\n", "line 1 has the invalid trigger name \"foo # c\""},
        {"interest a_b\n", "line 1 has the invalid trigger name \"a_b\""},
        {"interest -a\n", "line 1 has the invalid trigger name \"-a\""},
        {"interest /\n", "line 1 has the invalid trigger name \"/\""},
        {"interest /a//b\n", "line 1 has the invalid trigger name \"/a//b\""},
        {"interest a\0\n"s, "line 1 holds a NUL"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(linesOf(triggersOddities(c.text)), *c.fault == '\0' ? "" : "E triggers-syntax: "s + c.fault)
            << c.text;
    }
}

TEST(Oddities, OfConffiles) {
    const std::string longest = "/etc/a" + std::string(990, ' ');
    const struct {
        std::string text;
        std::string oddities;
    } cases[] = {
        {"", ""},
        {"/etc/a b\t\v\f\r\n//etc/./a\nremove-on-upgrade /etc/x/\n", ""},
        {longest + "\n", ""},
        {longest + " \n", "E conffile-path: \"/etc/a\" is longer than 996 bytes"},
        {" \n/etc/a", "W conffile-blank: a line is empty; E conffile-newline: the last line lacks its newline"},
        {" /a\n", "E conffile-path: \" /a\" is not an absolute path"},
        {"bogus /a\n", "E conffile-path: \"bogus /a\" is not an absolute path"},
        {"remove-on-upgrade\t/a\n", "E conffile-path: \"remove-on-upgrade\\t/a\" is not an absolute path"},
        {"remove-on-upgrade  /a\n", "E conffile-path: \"remove-on-upgrade  /a\" is not an absolute path"},
        {"/a/\n", "E conffile-path: \"/a/\" ends like the path of a directory"},
        {"/a/.\n", "E conffile-path: \"/a/.\" ends like the path of a directory"},
        {"/a\0\n"s, "E conffile-path: \"/a\\x00\" holds a NUL"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(linesOf(readConffiles(c.text).oddities), c.oddities) << c.text;
    }
}

TEST(Oddities, OfMaintainerScripts) {
    const struct {
        std::string contents;
        const char* code;
        Severity severity;
    } cases[] = {
        {"#!/bin/sh\nexit 0\r\n", "", {}},
        {"#! \t/usr/bin/perl -w", "", {}},
        {"\177ELF\2\1\1", "", {}},
        {"#!/bin/sh\r\n", "script-line-end", Severity::error},
        {"#!/bin/sh -e\r", "script-line-end", Severity::error},
        {"#!sh\n", "script-interpreter", Severity::error},
        {"#! \nexit 0\n", "script-interpreter", Severity::error},
        {"#!/bin/sh ", "script-line-end", Severity::error},
        {"", "script-no-interpreter", Severity::warning},
        {"\n#!/bin/sh\n", "script-no-interpreter", Severity::warning},
    };
    for (const auto& c : cases) {
        const std::optional<Oddity> oddity = maintainerScriptOddity(c.contents);
        EXPECT_EQ(oddity ? oddity->code : "", std::string(c.code)) << c.contents;
        EXPECT_TRUE(!oddity || oddity->severity == c.severity) << c.contents;
    }
    EXPECT_TRUE(isMaintainerScript("postinst"));
    EXPECT_FALSE(isMaintainerScript("triggers"));
}

}  // namespace

#include "buildfile/scripts/ShellScript.hpp"

#include <gmock/gmock.h>

#include <string>

#include "Shell.hpp"
#include "TemporaryDirectory.hpp"

namespace bex::test {
namespace {

using buildfile::ShellScript;

TEST(ShellScript, IsOneThatAShellRuns) {
    for (const char* text : {"#!/bin/sh\n", "#! /bin/bash -e\nx", "#!/usr/bin/env bash\n", "#!/bin/dash"}) {
        EXPECT_TRUE(ShellScript::isShellScript(text)) << text;
    }
    for (const char* text :
         {"", "echo\n", "#!/usr/bin/python3\n", "#!/usr/bin/env perl\n", "#!/opt/x sh\n", "#!\nsh"}) {
        EXPECT_FALSE(ShellScript::isShellScript(text)) << text;
    }
}

/// What the script prints between a step before and one after it, and its status.
std::string ranWith(const std::string& own) {
    const TemporaryDirectory directory;
    ShellScript script(own);
    script.addBefore("echo before \"$1\"\n");
    script.addAfter("echo after \"$1\"\n");
    const std::string path = directory.write("script", script.text());
    return outputOf("chmod 755 " + path + "; " + path + " configure; echo $?");
}

TEST(ShellScript, RunsItsOwnPartBetweenTheSteps) {
    const struct {
        const char* own;
        const char* expected;
    } cases[] = {
        {"#!/bin/sh\necho own \"$1\"", "before configure\nown configure\nafter configure\n0\n"},
        {"#!/bin/sh\nexit 0\necho no\n", "before configure\nafter configure\n0\n"},
        {"#!/bin/sh\nexit 3\n", "before configure\n3\n"},
        {"#!/bin/sh\nfalse\necho on\n", "before configure\non\nafter configure\n0\n"},
        {"#!/bin/sh -e\nfalse\necho no\n", "before configure\n1\n"},
        {"#!/bin/bash\nset -e\n[[ x == x ]] && echo bash\n", "before configure\nbash\nafter configure\n0\n"},
        {"#!/bin/sh\ncase $1 in\nconfigure) echo ')' ;;\nesac\ncat <<'E'\n)\nE\n",
         "before configure\n)\n)\nafter configure\n0\n"},
        {"#!/bin/sh\n# nothing but words\n", "before configure\nafter configure\n0\n"},
        {"#!/bin/sh", "before configure\nafter configure\n0\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ranWith(c.own), c.expected) << c.own;
    }
}

TEST(ShellScript, QuotesEveryWord) {
    const std::string odd = "a'b \"$(x)\" \\ *";
    EXPECT_EQ(outputOf("printf %s " + buildfile::shellWord(odd)), odd);
}

}  // namespace
}  // namespace bex::test

"""The manual, the completions and the program's own help name the same verbs, options and values."""

import os
import re
import subprocess
import unittest

from cases import SOURCES, environment

VERBS = ["build", "info", "field", "list", "cat", "extract", "verify", "diff"]
VALUES = {"--color": {"auto", "always", "never"}, "--progress": {"auto", "json", "never"},
          "--compression": {"gzip", "zstd", "xz", "none"}}
OPTION = re.compile(r"--[a-z][a-z0-9-]*")


def source(name):
    return (SOURCES / name).read_text(encoding="utf-8")


def bex(*arguments):
    return subprocess.run([os.environ["BEX"], *arguments], capture_output=True, text=True, env=environment(),
                          check=False)


def help_options(*verb):
    rows = [line for line in bex(*verb, "--help").stdout.splitlines() if re.match(r" {2,4}-", line)]
    return {option for row in rows for option in OPTION.findall(row)}


def manual_options():
    """Those of the parts on each verb, and those for all under None."""
    text = source("docs/bex.1").replace("\\-", "-")
    parts = re.split(r'^\.BI "bex (\w+) ', text.split(".PP\nA\n.I PATTERN")[0], flags=re.M)
    found = {verb: set(OPTION.findall(part)) for verb, part in zip(parts[1::2], parts[2::2])}
    found[None] = set(OPTION.findall(text.split(".SH OPTIONS FOR ALL VERBS")[1].split(".SH")[0]))
    return found


def complete(*words):
    """What bash offers for the last word."""
    script = f"""source {SOURCES}/tool/completions/bex.bash
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _bex; printf '%s\\n' "${{COMPREPLY[@]}}" """
    done = subprocess.run(["bash", "-c", script, "-", "bex", *words], capture_output=True, text=True,
                          cwd=SOURCES / "docs", check=True)
    return set(done.stdout.split())


class OptionsTest(unittest.TestCase):
    def setUp(self):
        self.common = help_options() - {"--version"}
        self.own = {verb: help_options(verb) for verb in VERBS}

    def test_manual(self):
        manual = manual_options()
        self.assertEqual(manual.pop(None), self.common | {"--version"})
        self.assertEqual(manual, self.own)

    def test_bash(self):
        for verb in VERBS:
            self.assertEqual(complete(verb, "--"), self.common | self.own[verb], verb)
        self.assertEqual(complete("--"), self.common | {"--version"})
        self.assertEqual(complete(""), set(VERBS))
        self.assertEqual(complete("--json", "l"), {"list"})
        self.assertEqual(complete("build", "--sk"), {"--skip-special"})
        self.assertEqual(complete("info", "bex.sch"), {"bex.schema.json"})
        for option, values in VALUES.items():
            self.assertEqual(complete("build", option, ""), values)
            self.assertEqual(complete("build", option, "="), values)
            self.assertEqual(complete("build", option, "=", ""), values)
        self.assertEqual(complete("list", "--limit", "=", "zs"), {"zstd-window-log="})

    def test_zsh(self):
        text = source("tool/completions/_bex")
        common, rest = text.split("verbs=(")
        verbs, rest = rest.split("_bex_verb() {")
        self.assertEqual(re.findall(r"^    '(\w+):", verbs, re.M), VERBS)
        self.assertEqual(set(OPTION.findall(common)), self.common)
        arms = dict(re.findall(r"^        (\w+|\*)\) _arguments \$common(.*?);;", rest, re.M | re.S))
        for verb in VERBS:
            self.assertEqual(set(OPTION.findall(arms.get(verb, arms["*"]))), self.own[verb], verb)
        for option, values in VALUES.items():
            self.assertEqual(set(re.search(rf"{option}=[^(]*\(([^)]*)\)", text)[1].split()), values)

    def test_fish(self):
        text = re.sub(r"^set -l .*$", "", source("tool/completions/bex.fish"), flags=re.M)
        found = {verb: set() for verb in VERBS}
        common = set()
        for line in text.splitlines():
            option = re.search(r" -l (\S+)", line)
            condition = re.search(r' -n (?:"__fish_seen_subcommand_from ([^"]*)"|\$(\w+))', line)
            if option and condition:
                for verb in (condition[1] or condition[2]).split():
                    found[verb].add("--" + option[1])
            elif option and " -n " not in line:
                common.add("--" + option[1])
            for name, values in VALUES.items():
                if option and "--" + option[1] == name:
                    self.assertEqual(set(re.search(r'-a "([^"]*)"', line)[1].split()), values)
        self.assertEqual((common, found), (self.common, self.own))
        self.assertEqual(re.findall(r" -a (\w+) ", text), VERBS)

    def test_the_program_takes_these_values_and_names_the_others(self):
        for option, values in VALUES.items():
            error = bex("build", "none", option, "no").stderr
            self.assertEqual(set(re.search(r"takes one of (.*)", error)[1].split(", ")), values)

    def test_limits_are_the_same_everywhere(self):
        limits = set(re.search(r"NAME is one of (.*)", bex("list", "x", "--limit", "x").stderr)[1].split(", "))
        manual = source("docs/bex.1").replace("\\-", "-").split("Names and defaults:")[1].split(".RE")[0]
        self.assertEqual(set(re.findall(r"^\.B (\S+)", manual, re.M)), limits)
        self.assertEqual({value.rstrip("=") for value in complete("list", "--limit", "")}, limits)
        for name, form in {"_bex": r"limit:\((.*?)\)", "bex.fish": r'-l limit -x -a "(.*?)"'}.items():
            offered = re.search(form, source(f"tool/completions/{name}"))[1]
            self.assertEqual(set(offered.replace("=", "").split()), limits, name)


if __name__ == "__main__":
    unittest.main()

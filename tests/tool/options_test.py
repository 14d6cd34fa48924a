"""The manual, the completions and the program's own help name the same verbs, options and values."""

import os
import re
import subprocess
import unittest

from cases import SOURCES, environment

VERBS = ["build", "info", "field", "list", "cat", "extract", "verify", "diff", "report", "edit", "filter", "repack",
         "init", "schema", "shlibdeps", "repo"]
REPO_VERBS = ["scan", "merge", "init", "add", "list", "remove", "promote", "publish",
              "verify"]
ALL_VERBS = [*VERBS, *(f"repo {verb}" for verb in REPO_VERBS)]
VALUES = {"--color": {"auto", "always", "never"}, "--progress": {"auto", "json", "never"},
          "--compression": {"gzip", "zstd", "xz", "none"}, "--strip": {"none", "drop", "dbgsym"},
          "--format": {"field", "json", "why"}}
OPTION = re.compile(r"--[a-z][a-z0-9-]*")


def source(name):
    return (SOURCES / name).read_text(encoding="utf-8").replace("\\-", "-")


def options(text):
    return set(OPTION.findall(text))


def bex(*arguments):
    return subprocess.run([os.environ["BEX"], *arguments], capture_output=True, text=True, env=environment(),
                          check=False)


def in_help():
    """The options of each verb, and those for all under None; so do the functions below."""
    def rows(*verb):
        return options("\n".join(re.findall(r"^ {2,4}-.*", bex(*verb, "--help").stdout, re.M)))
    return {None: rows() - {"--version"}, **{verb: rows(*verb.split()) for verb in ALL_VERBS}}


def in_manual():
    text = source("docs/bex.1")
    parts = re.split(r'^\.BI "bex ((?:repo )?\w+) ', text.split(".PP\nA\n.I PATTERN")[0], flags=re.M)
    common = text.split(".SH OPTIONS FOR ALL VERBS")[1].split(".SH")[0]
    return {None: options(common) - {"--version"},
            "repo": set(), **{verb: options(part) for verb, part in zip(parts[1::2], parts[2::2])}}


def complete(*words):
    """What bash offers for the last word."""
    script = f"""source {SOURCES}/tool/completions/bex.bash
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _bex; printf '%s\\n' "${{COMPREPLY[@]}}" """
    done = subprocess.run(["bash", "-c", script, "-", "bex", *words], capture_output=True, text=True,
                          cwd=SOURCES / "docs", check=True)
    return set(done.stdout.split())


def in_bash():
    common = complete("--") - {"--version"}
    return {None: common, **{verb: complete(*verb.split(), "--") - common for verb in ALL_VERBS}}


def in_zsh():
    common, repo, verbs = re.split(r"_bex_(?:repo|verb)\(\) {", source("tool/completions/_bex"))
    arms, repo_arms = (dict(re.findall(r"^        (\w+|\*)\) _arguments (?:-C )?\$common(.*?);;", text, re.M | re.S))
                       for text in (verbs, repo))
    return {None: options(common.split("verbs=(")[0]),
            **{verb: options(arms.get(verb, arms["*"])) for verb in VERBS},
            **{f"repo {verb}": options(repo_arms[verb]) for verb in REPO_VERBS}}


def in_fish():
    found = {name: set() for name in [None, *ALL_VERBS]}
    for line in re.findall(r"^complete .* -l .*", source("tool/completions/bex.fish"), re.M):
        option = re.search(r" -l (\S+)", line)
        verbs = re.search(r' -n (?:"__fish_seen_subcommand_from ([^"]*)"|\$(\w+)|"\$repo ([^"]*)")', line)
        names = (verbs[1] or verbs[2] or verbs[3]).split() if verbs else []
        if verbs and verbs[3]:
            names = [f"repo {name}" for name in names]
        for name in names or ([None] if " -n " not in line else []):
            found[name] |= {"--" + option[1]}
    return found


class OptionsTest(unittest.TestCase):
    def test_options(self):
        expected = in_help()
        for found in (in_manual, in_bash, in_zsh, in_fish):
            with self.subTest(found.__name__):
                self.assertEqual(found(), expected)

    def test_verbs_and_files(self):
        self.assertEqual(complete(""), set(VERBS))
        self.assertEqual(complete("--json", "l"), {"list"})
        self.assertEqual(complete("repo", ""), set(REPO_VERBS))
        self.assertEqual(complete("build", "--sk"), {"--skip-special"})
        self.assertEqual(complete("info", "bex.sch"), {"bex.schema.json"})
        self.assertEqual(re.findall(r"^    '(\w+):", source("tool/completions/_bex"), re.M), VERBS)
        self.assertEqual(re.findall(r" -a (\w+) ", source("tool/completions/bex.fish")), VERBS)

    def test_values(self):
        for option, values in VALUES.items():
            verb = "shlibdeps" if option == "--format" else "build"
            error = bex(verb, "none", option, "no").stderr
            self.assertEqual(set(re.search(r"takes one of (.*)", error)[1].split(", ")), values)
            for words in ([""], ["="], ["=", ""]):
                self.assertEqual(complete(verb, option, *words), values)
            forms = {"_bex": rf"{option}=[^(]*\(([^)]*)\)", "bex.fish": rf' -l {option[2:]} .*-a "(.*?)"'}
            for name, form in forms.items():
                self.assertEqual(set(re.search(form, source(f"tool/completions/{name}"))[1].split()), values, name)

    def test_limits(self):
        limits = set(re.search(r"NAME is one of (.*)", bex("list", "x", "--limit", "x").stderr)[1].split(", "))
        manual = source("docs/bex.1").split("Names and defaults:")[1].split(".RE")[0]
        self.assertEqual(set(re.findall(r"^\.B (\S+)", manual, re.M)), limits)
        self.assertEqual(complete("list", "--limit", "=", "zs"), {"zstd-window-log="})
        self.assertEqual({value.rstrip("=") for value in complete("list", "--limit", "")}, limits)
        for name, form in {"_bex": r"limits=\((.*?)\)", "bex.fish": r"limits (.*?)\nset"}.items():
            offered = re.search(form, source(f"tool/completions/{name}"), re.S)[1]
            self.assertEqual(set(re.sub(r"[=\\]", " ", offered).split()), limits, name)


if __name__ == "__main__":
    unittest.main()

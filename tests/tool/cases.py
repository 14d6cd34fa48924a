"""Runs the cases of a file: what a user types, and what comes out, to the letter.

    == title        begins a case: an empty directory of its own, with the functions of cases/prelude.sh
    $ command       run by bash
    > line          its standard output, byte for byte (control characters but tabs, and what is not UTF-8, as <HH>)
    ! line          its standard error
    ? N             its exit status; 0 where none is given
    %               the output before has no newline at its end

Output of a command that asks for --json is held against docs/bex.schema.json, then compared with one object a line.
"""

import difflib
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

SOURCES = Path(os.environ["BEX_SOURCES"])
SCHEMA = json.loads((SOURCES / "docs/bex.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(SCHEMA)
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)


def environment():
    """The same everywhere: no variable of the user's changes what is tested."""
    tool = Path(os.environ["BEX"]).parent
    kept = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
    return {
        **kept,
        "PATH": f"{tool}:/usr/bin:/bin",
        "BASH_ENV": str(SOURCES / "tests/tool/cases/prelude.sh"),
        "LC_ALL": "C",
        "TZ": "Asia/Kolkata",
        "SOURCE_DATE_EPOCH": "1000000000",
    }


def compact(text):
    """The text with each JSON object in one line; one that breaks the schema says so."""
    decoder = json.JSONDecoder()
    result, place = "", 0
    while place < len(text):
        end = text.find("\n", place) + 1 or len(text)
        try:
            value, stop = decoder.raw_decode(text, place)
            if text[place] == "{" and text[stop:stop + 1] == "\n":
                result += json.dumps(value, separators=(",", ":")) + "".join(
                    f" BREAKS THE SCHEMA: {fault.message}" for fault in VALIDATOR.iter_errors(value)) + "\n"
                place = stop + 1
                continue
        except json.JSONDecodeError:
            pass  # A line of text between the objects.
        result += text[place:end]
        place = end
    return result


def lines(mark, output, as_json):
    text = output.decode(errors="surrogateescape")
    if as_json:
        text = compact(text)
    text = re.sub(r"[\0-\b\v-\x1f\x7f-\x9f\udc80-\udcff]", lambda c: f"<{ord(c[0]) & 0xff:02x}>", text)
    result = [f"{mark} {line}".rstrip(" ") for line in text.removesuffix("\n").split("\n")] if text else []
    return result + (["%"] if text and not text.endswith("\n") else [])


def transcript(commands, directory):
    """The case as it reads when the commands give what they give now."""
    for command in commands:
        done = subprocess.run(
            ["bash", "-o", "pipefail", "-c", command], cwd=directory, env=environment(), capture_output=True,
            stdin=subprocess.DEVNULL, timeout=200, check=False)
        as_json = "--json" in command
        yield f"$ {command}"
        yield from lines(">", done.stdout, as_json)
        yield from lines("!", done.stderr, as_json)
        if done.returncode != 0:
            yield f"? {done.returncode}"


def cases(path):
    title, body = None, []
    for line in path.read_text().splitlines():
        if line.startswith("== "):
            if title:
                yield title, body
            title, body = line[3:], []
        elif line and not line.startswith("#"):
            body.append(line)
    yield title, body


def main():
    path = Path(sys.argv[1])
    failures = 0
    for title, expected in cases(path):
        with tempfile.TemporaryDirectory(prefix="bex-case-") as directory:
            actual = list(transcript([line[2:] for line in expected if line.startswith("$ ")], directory))
        if actual != expected:
            failures += 1
            print(f"FAILED: {path.name}: {title}")
            print("\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm="", n=2)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

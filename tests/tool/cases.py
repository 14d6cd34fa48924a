"""Runs the cases of a file: what a user types, and what it prints, to the letter.

    == title        begins a case. Its commands run in one shell, in an empty directory, with the functions of
                    cases/prelude.sh; first those that stand before the first case of the file
    $ command       one command; indented lines continue it
    > line          its standard output, byte for byte (control characters but tabs, and what is not UTF-8, as <HH>)
    >>rest          the rest of a line of more than 118 characters (of standard error: !!)
    ! line          its standard error
    ? N             its exit status; 0 where none is given
    %               the output before has no newline at its end

The output of a command with --json is checked against docs/bex.schema.json, then compared with one object a line.
"""

import difflib
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

SOURCES = Path(os.environ["BEX_SOURCES"])
SCHEMA = json.loads((SOURCES / "docs/bex.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(SCHEMA)
PIECE = re.compile(".{1,118}(?:$|(?<=,)|(?<! )(?= ))|.{1,118}")  # up to a comma or a blank where there is one
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
    pieces = [PIECE.findall(line) or [""] for line in text.removesuffix("\n").split("\n")] if text else []
    result = [line for first, *rest in pieces
              for line in (f"{mark} {first}".rstrip(" "), *(mark * 2 + piece for piece in rest))]
    return result + (["%"] if text and not text.endswith("\n") else [])


def transcript(commands, directory):
    """The case as it reads when the commands give what they give now."""
    log, place = Path(directory, "log"), Path(directory, "place")
    log.mkdir()
    place.mkdir()
    script = "".join(
        f"eval {shlex.quote(command)} >{log}/{number}.out 2>{log}/{number}.err; echo $? >{log}/{number}.status\n"
        for number, command in enumerate(commands))
    subprocess.run(["bash", "-o", "pipefail", "-c", script], cwd=place, env=environment(), stdin=subprocess.DEVNULL,
                   timeout=200, check=True)
    for number, command in enumerate(commands):
        out, err, status = (Path(log, f"{number}.{name}").read_bytes() for name in ("out", "err", "status"))
        as_json = "--json" in command
        yield from f"$ {command}".split("\n")
        yield from lines(">", out, as_json)
        yield from lines("!", err, as_json)
        if int(status) != 0:
            yield f"? {int(status)}"


def commands_of(body):
    """The commands, each with the lines that continue it."""
    return re.findall(r"^\$ (.*(?:\n .*)*)", "\n".join(body), re.MULTILINE)


def cases(path):
    title, body, setup = None, [], []
    for line in path.read_text().splitlines():
        if line.startswith("== "):
            if title:
                yield title, setup + body
            setup = setup if title else body
            title, body = line[3:], []
        elif line and not line.startswith("#"):
            body.append(line)
    yield title, setup + body


def main():
    path = Path(sys.argv[1])
    failures = 0
    for title, expected in cases(path):
        with tempfile.TemporaryDirectory(prefix="bex-case-") as directory:
            actual = list(transcript(commands_of(expected), directory))
        if actual != expected:
            failures += 1
            print(f"FAILED: {path.name}: {title}")
            print("\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm="", n=2)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

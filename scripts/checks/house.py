"""What the checks share: finding C++ files, reading them, calling tools, reporting."""

import argparse
import os
import re
import subprocess
import sys
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

PRODUCT_FOLDERS = (
    "services", "robot", "import", "ui", "backend", "robot_call", "terminal", "host", "admin", "robot_server", "samples",
    "command_documents",
)

# Numbers go first: the apostrophe in 1'000 starts no character literal.
_TOKEN = re.compile(
    r"""(?P<number>(?<![\w])\d[\w'.]*)
      | (?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<raw>R"(?P<mark>[^()\\\s]{0,16})\((?P<rawtext>.*?)\)(?P=mark)")
      | "(?P<text>(?:\\.|[^"\\\n])*)"
      | '(?:\\.|[^'\\\n])+'""",
    re.S | re.X,
)


@dataclass(frozen=True)
class Finding:
    path: Path
    line: int
    rule: str

    def __str__(self):
        return f"{self.path}:{self.line}: {self.rule}"


@dataclass(frozen=True)
class Literal:
    """A string literal; adjacent ones, which the compiler joins, are one. Offsets are into the source."""

    text: str
    start: int
    end: int


def _blanked(text):
    return re.sub(r"[^\n]", " ", text)


class Source:
    """One C++ file. Comments and literals are blanked in place, so that offsets and lines stay true."""

    def __init__(self, root, path):
        self.path = path.relative_to(root)
        self.text = path.read_text(encoding="utf-8")

    def line_of(self, offset):
        return self.text.count("\n", 0, offset) + 1

    @cached_property
    def without_comments(self):
        return _TOKEN.sub(lambda m: _blanked(m[0]) if m["comment"] else m[0], self.text)

    @cached_property
    def code(self):
        return _TOKEN.sub(lambda m: m[0] if m["number"] else _blanked(m[0]), self.text)

    @cached_property
    def literals(self):
        joined = []
        for match in _TOKEN.finditer(self.without_comments):
            if match["text"] is None and not match["raw"]:
                continue
            text = match["rawtext"] if match["raw"] else match["text"]
            last = joined[-1] if joined else None
            if last and not self.without_comments[last.end : match.start()].strip():
                joined[-1] = Literal(last.text + text, last.start, match.end())
            else:
                joined.append(Literal(text, match.start(), match.end()))
        return joined

    @cached_property
    def includes(self):
        """(line, name, whether in quotes) of every #include."""
        found = re.finditer(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]+)"|<([^>]+)>)', self.without_comments, re.M)
        return [(self.line_of(m.start()), m[1] or m[2], m[1] is not None) for m in found]

    def matches(self, pattern):
        """Findings are reported by line: (line, matched text) of a pattern in the bare code."""
        return [(self.line_of(m.start()), m[0]) for m in re.finditer(pattern, self.code)]


def sources(root, folders):
    """The C++ files below the given folders of root, in the order of their names."""
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".cpp", ".h") and path.is_file():
                yield Source(root, path)


def output_of(*command):
    """What a tool prints; a failure of the tool ends the check, the tool has said why."""
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, env={**os.environ, "LC_ALL": "C"}, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)} ended with {result.returncode}")
    return result.stdout


def main(description, check):
    """Runs check(root), which yields findings, as a program: 0 none, 1 some."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("root", type=Path, help="root of the source tree")
    root = parser.parse_args().root.resolve()
    if not any((root / folder).is_dir() for folder in PRODUCT_FOLDERS):
        parser.error(f"{root} is not the root of the source tree")
    findings = list(check(root))
    for finding in findings:
        print(finding)
    sys.exit(1 if findings else 0)

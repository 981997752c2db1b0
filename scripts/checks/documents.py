#!/usr/bin/env python3
"""Fails on a page that leads nowhere: a link, an anchor, a script, a preset or a command that is not there.

Every command line of our programs in a block of a page is run against a made-up site in a temporary folder, each on a
copy of its own, so that none depends on those before. What a page stands for is put in its place: a folder of the
machine becomes one below the temporary folder, the name of a file in quarantine that of one that is there. A line that
tells how a program is called ("[--json]"), one that opens a window, and one that needs servers is only compared with the
program's help, as is a command in a code span. What ends otherwise than with 0 stands in the table EXPECTED, with its
reason.
"""

import argparse
import json
import os
import re
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile
from pathlib import Path

from house import Finding

PROGRAMS = ("zav_admin", "zav_client", "zav_robot", "zav_samples")
PAGES = ("README.md", "CONTRIBUTING.md", "ARCHITECTURE.md", "packaging/README.md", "tests/README.md", "examples/host/README.md")

_FENCE = re.compile(r"^\s*(```+|~~~+)\s*([\w+-]*)\s*$")
_LINK = re.compile(r"!?\[(?:[^\[\]]|\[[^\]]*\])*\]\(([^()\s]+(?:\([^()\s]*\))?)\)|<(?:img|a)\b[^>]*?(?:src|href)=\"([^\"]+)\"")
_SPAN = re.compile(r"(`+)(.+?)\1")
_SCRIPT = re.compile(r"(?<![\w/.-])((?:scripts|tests|docs|packaging|cmake|bench)/[\w/.-]*\.(?:sh|py))\b")
_PRESET = re.compile(r"\b(cmake|ctest)\b([^|;&\n`]*?)--preset[ =]([\w-]+)")
# What stands before a command: a prompt, a time of cron, a key of systemd, a variable, another account.
_BEFORE = re.compile(r"^(?:\$\s+|ExecStart=|(?:[\d*/,-]+\s+){5}|[A-Z_]+=\S+\s+|sudo(?:\s+-u\s+\S+)?\s+)+")
_COMMAND = re.compile(r"^(?:[\w./-]*/)?(" + "|".join(PROGRAMS) + r")(?=\s|$)")
_PLACE = re.compile(r"(?<![\w.:/=@%~$\"])/(backup|mnt|srv|data|tmp|var)\b")
_STORED_NAME = re.compile(r"\b[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}\.\w+")
_SHELL_ENDS = {"|", "||", "&&", ";", ">", ">>", "2>", "<", "2>&1"}

# Only compared with the help, and why.
COMPARED = (
    (r"--(database-host|mongodb-uri)\b", "needs servers"),
    (r"^zav_client(?!.*--(batch|check|import)\b)", "opens a window"),
    (r"^zav_robot(?!.*--help)", "does not end by itself"),
    (r"^zav_admin .*(?<!-)\bconfig set (database|document_store)/\w*password_file\b", "needs servers"),
    (r'\$\w*folder|"\$', "is a piece of a script"),
)

# The exit code where it is not 0, and why.
EXPECTED = (
    (r"\bcompany add\b", 4, "the made-up site has the company"),
    (r"\b(job (void|unvoid|requeue|resend)|quarantine purge)\b(?!.*--yes)", 2, "only tells what would be done"),
)


def pages(root):
    found = [root / name for name in PAGES] + sorted((root / "docs").rglob("*.md"))
    return [page for page in found if page.is_file()]


class Page:
    """A page of Markdown: its prose, its blocks of code, and where each begins."""

    def __init__(self, text):
        self.blocks = []  # (number of the first line, lines)
        self.prose = []  # (number, line), code blocks left out
        fence, before, number = None, "", 0
        for number, line in enumerate(text.split("\n"), 1):
            mark = _FENCE.match(line)
            if fence:
                if mark and mark[1].startswith(fence) and not mark[2]:
                    fence = None
                else:
                    self.blocks[-1][1].append(line)
            elif mark:
                fence = mark[1]
                self.blocks.append((number + 1, []))
            elif line.startswith("    ") and line.strip() and (not before.strip() or before[0] == "#" or self._goes_on(number)):
                if not self._goes_on(number):
                    self.blocks.append((number, []))
                self.blocks[-1][1].append(line)
            else:
                self.prose.append((number, line))
            before = line

    def _goes_on(self, number):
        return bool(self.blocks) and self.blocks[-1][0] + len(self.blocks[-1][1]) == number

    def anchors(self):
        """The ids of the headings, as code forges make them."""
        ids = set()
        for _, line in self.prose:
            heading = re.match(r"#{1,6}\s+(.*?)\s*#*$", line)
            if not heading:
                continue
            title = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading[1]).replace("`", "").replace("*", "")
            anchor = re.sub(r"[^\w\- ]", "", title.strip().lower()).replace(" ", "-")
            ids.add(anchor if anchor not in ids else f"{anchor}-1")
        return ids

    def links(self):
        """(line, target)"""
        for number, line in self.prose:
            for link in _LINK.finditer(_SPAN.sub(lambda span: "`" * len(span[0]), line)):
                yield number, link[1] or link[2]

    def spans(self):
        """(line, text) of what stands between backticks, also over the end of a line."""
        text = "\n".join(line for _, line in self.prose)
        numbers = [number for number, _ in self.prose]
        for span in _SPAN.finditer(re.sub(r"(?<=\S)\n(?=\S)", " ", text)):
            yield numbers[min(text.count("\n", 0, span.start()), len(numbers) - 1)], span[2].strip()

    def commands(self):
        """(line, command) of our programs in blocks, lines that go on joined, comments and what stands before taken off."""
        for start, lines in self.blocks:
            whole = ""
            for offset, line in enumerate(lines):
                whole += line.strip()
                if whole.endswith("\\"):
                    whole = whole[:-1]
                    continue
                command = _BEFORE.sub("", whole)
                if _COMMAND.match(command):
                    yield start + offset, _COMMAND.sub(r"\1", re.sub(r"\s+#.*$", "", command))
                whole = ""


def slugs_of(cache, path):
    if path not in cache:
        cache[path] = Page(path.read_text(encoding="utf-8")).anchors()
    return cache[path]


def check_links(root, path, page, cache):
    for line, target in page.links():
        if re.match(r"[a-z][a-z0-9+.-]*:", target):
            continue
        name, _, anchor = target.partition("#")
        file = (path.parent / name).resolve() if name else path
        if not file.exists():
            yield Finding(path.relative_to(root), line, f"'{target}' leads to no file")
        elif anchor and file.suffix == ".md" and anchor not in slugs_of(cache, file):
            yield Finding(path.relative_to(root), line, f"'{target}' leads to no heading")


def presets_of(root):
    file = root / "CMakePresets.json"
    presets = json.loads(file.read_text(encoding="utf-8")) if file.exists() else {}
    return {kind: {preset["name"] for preset in presets.get(f"{kind}Presets", ())} for kind in ("configure", "build", "test")}


def check_names(root, path, text, presets):
    """Scripts and presets, wherever a page names them."""
    for number, line in enumerate(text.split("\n"), 1):
        for script in _SCRIPT.finditer(line):
            if not (root / script[1]).exists():
                yield Finding(path.relative_to(root), number, f"there is no '{script[1]}'")
        for program, between, name in _PRESET.findall(line):
            kind = "test" if program == "ctest" else "build" if "--build" in between else "configure"
            if name not in presets[kind]:
                yield Finding(path.relative_to(root), number, f"there is no {kind} preset '{name}'")


def all_words_of(command):
    """The words, with what parts commands as words of their own; None where it is no line of a shell."""
    try:
        lexer = shlex.shlex(command, posix=True, punctuation_chars="|&;<>")
        lexer.whitespace_split = True
        lexer.commenters = ""
        return list(lexer)
    except ValueError:
        return None


def words_of(command):
    """The words up to a pipe or the like; None where it is no line of a shell."""
    words = all_words_of(command)
    if words is None:
        return None
    end = next((i for i, word in enumerate(words) if word in _SHELL_ENDS), len(words))
    return words[:end]


def is_usage(command):
    """Whether it tells how a program is called: with what may be left out, or chosen."""
    bare = re.sub(r"'[^']*'", "", command)
    return bool(re.search(r"\[|…|\.\.\.|--help \| --version", bare))


class Helps:
    """What the programs say of their command lines."""

    def __init__(self, programs):
        self._programs = programs
        self._texts = {}

    def text(self, program, verb=""):
        key = (program, verb)
        if key not in self._texts and not (self._programs / program).exists():
            self._texts[key] = ""
        if key not in self._texts:
            line = [str(self._programs / program), *verb.split(), "--help"]
            result = subprocess.run(line, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False,
                                    env={**os.environ, "QT_QPA_PLATFORM": "offscreen", "LC_ALL": "C.UTF-8"})
            self._texts[key] = result.stdout if result.returncode == 0 else ""
        return self._texts[key]

    def verb_of(self, program, words):
        """The verb that the words begin with; "" where the program has none; None where there is no such verb."""
        if program not in ("zav_admin", "zav_samples") or not words:
            return ""
        for count in (2, 1):
            verb = " ".join(words[:count])
            if len(words) >= count and re.fullmatch(r"[a-z -]+", verb) and self.text(program, verb):
                return verb
        return "" if not re.fullmatch(r"[a-z-]+", words[0]) else None

    def complaint(self, command):
        """What is wrong with a command by the help of its program; "" where nothing is."""
        words = words_of(re.sub(r"[\[\]|…]|\.\.\.", " ", command) if is_usage(command) else command)
        if words is None:
            return "it is no line of a shell"
        program, *rest = words
        if not self.text(program):
            return ""  # this build does not have it
        options = [word.partition("=")[0] for word in rest if re.match(r"--?[a-z]", word)]
        values = re.findall(r"--(?:config|user)[ =]\S+", command)
        plain = [word for word in rest if not word.startswith("-") and not any(value.endswith(word) for value in values)]
        verb = self.verb_of(program, plain)
        if verb is None:
            first = plain[0]
            if not re.search(rf"^\s+{re.escape(first)}\b", self.text(program), re.M):
                return f"{program} has no verb '{first}'"
            verb = ""
        known = self.text(program) + (self.text(program, verb) if verb else "")
        for option in options:
            if not re.search(rf"(?<![\w-]){re.escape(option)}(?![\w-])", known):
                return f"{program} {verb}".strip() + f" has no option {option}"
        return ""


class World:
    """A made-up site with all that the commands of the pages speak of; each command meets it as it was made."""

    COMPANIES = (("HX", "深圳华兴电路", 0, 1, 4), ("AB", "Acme", 16, 11, 2), ("JX", "苏州金像电子", 0, 0, 2))

    def __init__(self, folder, programs):
        self._kept = folder / "kept"
        self.root = folder / "world"
        self._work = self.root / "work"
        self._seed = 0
        self._robot = subprocess.Popen([str(programs / "zav_robot")], stdout=subprocess.PIPE, text=True)
        self._environment = {
            "PATH": f"{programs}:{os.environ['PATH']}", "HOME": str(self.root / "home"), "LC_ALL": "C.UTF-8", "USER": "plant",
            "QT_QPA_PLATFORM": "offscreen", "TMPDIR": str(folder), "MONGOC_DISABLE_SHM": "1",
        }  # fmt: skip
        try:
            self._make(int(self._robot.stdout.readline()))
        except BaseException:
            self.end()
            raise

    def end(self):
        self._robot.terminate()
        self._robot.wait()
        self._robot.stdout.close()

    def _make(self, robot_port):
        for folder in ("home", "work/in", "tmp", "mnt/backup", "backup", "srv", "data", "var"):
            (self.root / folder).mkdir(parents=True)
        self._must("zav_admin init")
        self._must(f"zav_admin config set robot/port {robot_port}")
        for code, name, *_ in self.COMPANIES:
            self._must(f"zav_admin company add --code {code} --name {name}")
        for code, _, jobs, batch, _ in self.COMPANIES:
            self._change(f"UPDATE company SET job_count = {jobs}, batch_number = {batch} WHERE code = '{code}'")
        for _, name, _, _, entries in self.COMPANIES:
            self._deliver(self._work / "in" / name, entries)
        self._must("zav_client --batch in")
        self._must("zav_admin job void HX000004 --reason 'of another customer' --yes")
        quarantined = json.loads(self._must("zav_admin quarantine list --json"))
        self.quarantined_name = quarantined["files"][0]["name"]
        for folder in ("mnt/backup/plant", "mnt/backup/plant-before-upgrade", "backup/plant"):
            self._must(f"zav_admin backup {self.root / folder}")
        self._must("zav_admin check --read-data")
        for name in ("new.ini", "servers.ini", "../srv/zav-new/zav.ini"):
            root = self._work / name.replace(".ini", "")
            self._must(f"zav_admin --config {name} init --for-migrate --data-root {root}")
        self._must(f"zav_admin --config trial/zav.ini restore {self.root / 'backup/plant'} --raise-counters 0 --data-root trial")
        for name in ("zav.ini", "old.ini"):
            shutil.copy(self._configuration(), self._work / name)
        shutil.rmtree(self._work / "in")
        for folder in ("in", "DIR"):
            self._deliver(self._work / folder / "Acme", 2)
        self.root.rename(self._kept)

    def _configuration(self):
        return next((self.root / "home/.config").rglob("*.ini"))

    def _deliver(self, folder, entries):
        folder.mkdir(parents=True, exist_ok=True)
        for number in range(entries):
            self._seed += 1
            self._must(f"zav_samples job '{folder}' --name board_{number} --size 100K --seed {self._seed} --archive zip")

    def _database(self):
        return next((self.root / "home/.local").rglob("*.db"))

    def _change(self, statement):
        with sqlite3.connect(self._database()) as database:
            database.execute(statement)
        database.close()

    def _run(self, command):
        return subprocess.run(["/bin/bash", "-o", "pipefail", "-c", command], cwd=self._work, env=self._environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)

    def _must(self, command):
        result = self._run(command)
        if result.returncode != 0:
            sys.exit(f"{command} ended with {result.returncode}: {result.stderr}{result.stdout}")
        return result.stdout

    def run(self, command):
        """Runs a command of a page. @return (exit code, what it told)"""
        shutil.rmtree(self.root, ignore_errors=True)
        subprocess.run(["cp", "-a", str(self._kept), str(self.root)], check=True)
        self._prepare(command)
        placed = _PLACE.sub(lambda place: f"{self.root}/{place[1]}", command)
        if "quarantine restore" in placed:
            placed = _STORED_NAME.sub(self.quarantined_name, placed)
        result = self._run(placed)
        return result.returncode, (result.stderr + result.stdout).strip()[:400]

    def _prepare(self, command):
        """Makes what a page tells before the command."""
        if re.search(r"\bjob (requeue|resend)\b", command):
            self._change("UPDATE job_flow SET state = 1, sub_state = 2 WHERE state = 0")
        if re.search(r"\binit\b.*--data-root", command):
            self._configuration().unlink()
            (self._work / "zav.ini").unlink()
            shutil.rmtree(self.root / "srv/zav-new")
            shutil.rmtree(self._work / "../srv/zav-new", ignore_errors=True)
        if "--config trial/" in command and " restore " in command:
            shutil.rmtree(self._work / "trial")
        elif re.search(r"\brestore /", command):
            self._lose(everything="--data-root" in command)
        if "zav_samples batch in" in command:
            shutil.rmtree(self._work / "in")

    def _lose(self, everything):
        database = self._database()
        for file in database.parent.glob(database.name + "*"):
            if file.is_file():
                file.unlink()
        if everything:
            self._configuration().unlink()


def missing_tool(command):
    """A program of the line that this machine does not have; "" where it has all."""
    words = all_words_of(command)
    for parting, word in zip(words, words[1:]):
        if parting in ("|", "||", "&&", ";") and shutil.which(word) is None:
            return word
    return ""


def comparison_only(command):
    """Why a command is not run; "" where it is."""
    if is_usage(command):
        return "tells how the program is called"
    if re.search(r"\b[A-Z][A-Z_]+\b(?!\d)", re.sub(r"'[^']*'|\bDIR\b|\$\w+|\b(?:HX|AB|JX)\b", "", command)):
        return "has places to be filled in"
    tool = missing_tool(command)
    return f"needs {tool}" if tool else next((why for pattern, why in COMPARED if re.search(pattern, command)), "")


def expected_code(command):
    return next((code for pattern, code, _ in EXPECTED if re.search(pattern, command)), 0)


def check_commands(root, path, page, helps, world, outcomes):
    """@param world  null where commands are only compared; outcomes  of those that were met on earlier pages"""
    place = path.relative_to(root)
    for line, command in page.commands():
        if command not in outcomes:
            outcomes[command] = outcome_of(command, helps, world)
        if outcomes[command]:
            yield Finding(place, line, f"'{command}': {outcomes[command]}")
    for line, span in page.spans():
        if re.match(rf"(?:{'|'.join(PROGRAMS)}) [\w-]", span) and (complaint := helps.complaint(span)):
            yield Finding(place, line, f"'{span}': {complaint}")


def outcome_of(command, helps, world):
    """What is wrong with a command; "" where nothing is."""
    if complaint := helps.complaint(command):
        return complaint
    if world is None or comparison_only(command):
        return ""
    code, told = world.run(command)
    return "" if code == expected_code(command) else f"ended with {code}, not {expected_code(command)}: {told}"


def check(root, helps, world):
    anchors, outcomes, presets = {}, {}, presets_of(root)
    for path in pages(root):
        text = path.read_text(encoding="utf-8")
        page = Page(text)
        yield from check_links(root, path, page, anchors)
        yield from check_names(root, path, text, presets)
        if helps:
            yield from check_commands(root, path, page, helps, world, outcomes)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path)
    parser.add_argument("--programs", type=Path, help="folder of our programs; without it no command is looked at")
    parser.add_argument("--compare", action="store_true", help="commands are not run, since there is no zav_client")
    parser.add_argument("--list", action="store_true", help="print each command and what is done with it")
    arguments = parser.parse_args()
    root = arguments.root.resolve()
    if arguments.list:
        for path in pages(root):
            for line, command in Page(path.read_text(encoding="utf-8")).commands():
                print(f"{path.relative_to(root)}:{line}: {comparison_only(command) or expected_code(command)}: {command}")
        return
    programs = arguments.programs.resolve() if arguments.programs else None
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        world = World(Path(folder).resolve(), programs) if programs and not arguments.compare else None
        try:
            findings = list(check(root, Helps(programs) if programs else None, world))
        finally:
            if world:
                world.end()
    for finding in findings:
        print(finding)
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Man pages, helps and completions of the programs, as the build has made them.

The pages are read by the tools that readers of pages have, the completions by their shells; and in each shell a line is
typed and completed, so that what is offered is what an operator sees. Nothing of a site is opened for that. What a missing
tool would look at is skipped, with the reason.
"""

import argparse
import fcntl
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import unittest
from pathlib import Path

COLUMNS = 80
PATIENCE = 120  # seconds until a shell or a program counts as hanging
BUILD = Path()
SOURCES = Path()
INSTALLED = Path()
ZSH_DIR = ""

# What is typed, and what is offered then: all of it, or (with "+") these among others. The folder holds the file
# board.tgz and the folder backups.
OFFERS = (
    ("zav_admin ", "+ init company jobs job config restore-files help"),
    ("zav_admin company ", "add list rename"),
    ("zav_admin --config board.tgz --json quarantine ", "list restore purge"),
    ("zav_admin job re", "requeue resend"),
    ("zav_admin help config ", "get list set"),
    ("zav_admin company list --", "--config --json --help --version"),
    ("zav_admin get X Y --f", "--force"),
    ("zav_admin job void --r", "--reason"),
    ("zav_admin job show --r", ""),
    ("zav_admin config set robot/", "robot/host robot/port"),
    ("zav_admin config get database/t", "database/tls_ca"),
    ("zav_admin check --repair sum-missing,sum-s", "sum-stale"),
    ("zav_admin jobs --state ", "waiting failed voided"),
    ("zav_admin jobs --company ", ""),
    ("zav_admin get AB000001 ", "backups board.tgz"),
    ("zav_admin backup ", "backups"),
    ("zav_admin --config ", "backups board.tgz"),
    ("zav_admin restore --data-root ", "backups"),
    ("zav_client --re", "--report"),
    ("zav_client --batch ", "backups"),
    ("zav_client --batch x --report ", "backups board.tgz"),
    ("zav_robot --ma", "--max-requests --max-connections --max-per-peer --max-bytes --max-depth"),
    ("zav_robot --log ", "backups board.tgz"),
    ("zav_samples ", "job batch"),
    ("zav_samples job ", "backups"),
    ("zav_samples job x --archive ", "tgz zip kos"),
)

BASHRC = """
PS1='READY> '
. /usr/share/bash-completion/bash_completion
bind 'set bell-style none'
bind 'set enable-bracketed-paste off'
bind '"\\C-x*": insert-completions'
for file in "$COMPLETIONS"/bash/*; do . "$file"; done
for program in $PROGRAMS; do eval "$program() { printf '<<%s>>\\n' \\"\\$*\\"; }"; done
"""

# Every match is put on the line.
ZSHRC = """
PS1='READY> '
fpath=("$COMPLETIONS/zsh" $fpath)
autoload -Uz compinit && compinit -u -D
zle -C every-match complete-word _generic
zstyle ':completion:every-match::::' completer _all_matches _complete
zstyle ':completion:every-match:*' insert yes
bindkey '^X*' every-match
setopt no_beep
for program in ${=PROGRAMS}; do eval "$program() { printf '<<%s>>\\n' \\"\\$*\\" }"; done
"""


def programs():
    return sorted(page.stem for page in (BUILD / "share/man/man1").iterdir())


def need(test, *tools):
    for tool in tools:
        if not shutil.which(tool):
            test.skipTest(f"{tool} is missing (scripts/setup.sh test)")


def environment(**more):
    kept = {name: os.environ[name] for name in ("PATH", "HOME", "LD_LIBRARY_PATH") if name in os.environ}
    return {**kept, "LC_ALL": "C.UTF-8", "QT_QPA_PLATFORM": "offscreen", "ZAV_CONFIG": "/no/such.ini", **more}


def run(*command, **more):
    return subprocess.run(
        [str(word) for word in command], env=environment(**more), capture_output=True, encoding="utf-8", timeout=PATIENCE
    )


def verbs_of(program):
    """Of the program's page: the subsections of its verbs."""
    page = (BUILD / f"share/man/man1/{program}.1").read_text(encoding="ascii").replace("\\-", "-")
    return re.findall(r'^\.SS "(.+)"$', page, re.M)


def part_of_page(program, title):
    page = (BUILD / f"share/man/man1/{program}.1").read_text(encoding="ascii").replace("\\-", "-")
    return re.sub(r"\\f[BIR]", "", page.split(f"\n.SH {title}\n")[1].split("\n.SH ")[0])


def bare(offer):
    """An offer without what a shell puts before or behind it."""
    return offer.rstrip("/=").rsplit(",", 1)[-1]


class Terminal:
    """A program on a terminal of its own."""

    def __init__(self, command, **more):
        self.process, self.end = pty.fork()
        if self.process == 0:
            os.execvpe(command[0], [str(word) for word in command], environment(TERM="vt100", **more))
        fcntl.ioctl(self.end, termios.TIOCSWINSZ, struct.pack("HHHH", 200, 4000, 0, 0))
        self.text = ""

    def read_until(self, mark):
        """All up to the mark and with it; with none, to the end."""
        while not mark or mark not in self.text:
            if not select.select([self.end], [], [], PATIENCE)[0]:
                raise TimeoutError(f"nothing came; so far: {self.text!r}")
            try:
                piece = os.read(self.end, 65536)
            except OSError:  # the other end is closed
                piece = b""
            if not piece:
                break
            self.text += piece.decode("utf-8", "replace")
        at = self.text.find(mark) + len(mark) if mark else len(self.text)
        said, self.text = self.text[:at], self.text[at:]
        return said

    def type(self, text):
        os.write(self.end, text.encode())

    def close(self, kill=True):
        if kill:
            os.kill(self.process, signal.SIGKILL)
        status = os.waitpid(self.process, 0)[1]
        os.close(self.end)
        return os.waitstatus_to_exitcode(status)


class Pages(unittest.TestCase):
    def pages(self):
        found = sorted((BUILD / "share/man").glob("man[157]/*"))
        self.assertEqual(len(found), len(programs()) + 2)
        return found

    def test_man_has_no_warning(self):
        need(self, "man")
        for page in self.pages():
            shown = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page)
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), page)

    def test_groff_has_no_warning(self):
        need(self, "groff")
        for page in self.pages():
            shown = run("groff", "-man", "-ww", "-Tutf8", "-z", page)
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), page)

    def test_mandoc_has_no_warning(self):
        need(self, "mandoc")
        for page in self.pages():
            said = run("mandoc", "-Tlint", "-W", "warning", page).stdout.splitlines()
            # A page of a tree that is no release has no date.
            self.assertEqual([line for line in said if "missing date" not in line], [], page)

    def test_a_release_is_written_alike_with_its_date(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("one", "other"):
                made = run(BUILD / "bin/zav_command_documents", f"{folder}/{name}", "1.2.3", "2026-01-31")
                self.assertEqual((made.returncode, made.stderr), (0, ""))
            self.assertEqual(run("diff", "-r", f"{folder}/one", f"{folder}/other").stdout, "")
            for page in Path(folder, "one/man").glob("man*/*"):
                self.assertRegex(page.read_text(encoding="ascii"), r'^\.TH \S+ \d "2026-01-31" "zav_import 1\.2\.3" ')
                if shutil.which("mandoc"):
                    self.assertEqual(run("mandoc", "-Tlint", "-W", "warning", page).stdout, "")

    def test_every_page_can_be_looked_up(self):
        need(self, "lexgrog")
        for page in self.pages():
            name = page.name.rsplit(".", 1)[0]
            self.assertIn(f'"{name} - ', run("lexgrog", page).stdout)

    def test_synopses_name_options_that_are_explained(self):
        for program in programs():
            explained = set(re.findall(r"--[a-z-]+", (BUILD / f"share/completions/bash/{program}").read_text()))
            named = set(re.findall(r"--[a-z-]+", part_of_page(program, "SYNOPSIS")))
            self.assertLessEqual(named, explained)

    def test_pages_that_are_referred_to_exist(self):
        there = {page.name for page in self.pages()}
        # A build without panels has no client; the pages of the others refer to it all the same.
        there |= {"zav_client.1"} - {f"{program}.1" for program in programs()}
        for page in self.pages():
            text = page.read_text(encoding="ascii")
            for name, section in re.findall(r"^\.BR (\S+) \((\d)\)", text, re.M):
                self.assertIn(f"{name}.{section}", there)


class Programs(unittest.TestCase):
    def calls(self):
        """Each program, and each of its verbs."""
        for program in programs():
            yield program, []
            for verb in verbs_of(program):
                yield program, verb.split()

    def test_helps_fit_a_terminal(self):
        for program, words in self.calls():
            shown = run(BUILD / "bin" / program, *words, "--help")
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), words)
            self.assertTrue(shown.stdout.startswith(" ".join(["Usage:", program, *words])), shown.stdout)
            self.assertLessEqual(max(map(len, shown.stdout.splitlines())), COLUMNS, shown.stdout)

    def test_every_verb_tells_the_version(self):
        version = re.search(r'"zav_import (\S+)"', (BUILD / "share/man/man1/zav_admin.1").read_text())[1]
        for program, words in self.calls():
            for option in ("--version", "-v"):
                shown = run(BUILD / "bin" / program, *words, option)
                self.assertEqual((shown.returncode, shown.stdout), (0, f"{program} {version}\n"))

    def test_exit_codes_are_those_of_the_documents(self):
        documents = {
            "zav_admin": ("zav_admin.md", "## Exit codes"),
            "zav_client": ("outcomes.md", "## A batch from a script"),
            "zav_robot": ("robot-messages.md", "## The program"),
            "zav_samples": ("samples.md", "# Sample jobs"),
        }
        for program in programs():
            document, heading = documents[program]
            text = (SOURCES / "docs" / document).read_text(encoding="utf-8")
            table = re.split(r"^\| (?:exit )?code \|", text[text.index(heading) :], 1, re.M)[1].split("\n\n")[0]
            told = set(re.findall(r"\d+", " ".join(re.findall(r"^\| ([\d, ]+) \|", table, re.M))))
            listed = set(re.findall(r"^\.TP\n(\d+)\n", part_of_page(program, "EXIT STATUS"), re.M))
            self.assertEqual(told, listed, program)

    def test_nothing_is_coloured(self):
        with tempfile.TemporaryDirectory() as folder:
            site = ("--config", f"{folder}/zav.ini")
            for more in ({}, {"NO_COLOR": "1"}):
                for words in (["init", "--data-root", folder], ["check", "--read-data"], ["status"], ["--help"], ["oops"]):
                    terminal = Terminal([BUILD / "bin/zav_admin", *site, *words], **more)
                    said = terminal.read_until("")
                    terminal.close(kill=False)
                    self.assertNotEqual(said, "")
                    self.assertIsNone(re.search(r"\x1b\[[0-9;:]*m", said), said)


class Completions(unittest.TestCase):
    def files(self, shell):
        found = sorted((BUILD / "share/completions" / shell).iterdir())
        self.assertEqual(len(found), len(programs()))
        return found

    def test_bash_reads_them(self):
        need(self, "bash")
        for path in self.files("bash"):
            self.assertEqual(run("bash", "-n", path).stderr, "")

    def test_shellcheck_finds_nothing(self):
        need(self, "shellcheck")
        checked = run("shellcheck", *self.files("bash"))
        self.assertEqual(checked.returncode, 0, checked.stdout)

    def test_zsh_reads_them(self):
        need(self, "zsh")
        for path in self.files("zsh"):
            self.assertEqual(run("zsh", "-f", "-n", path).stderr, "")

    def test_fish_reads_them(self):
        need(self, "fish")
        for path in self.files("fish"):
            self.assertEqual(run("fish", "--no-execute", path).stderr, "")


class Installation(unittest.TestCase):
    def test_everything_is_installed_where_it_is_looked_for(self):
        wanted = ["share/man/man5/zav.ini.5", "share/man/man7/zav_import.7"]
        for program in programs():
            wanted.append(f"share/man/man1/{program}.1")
            wanted.append(f"share/bash-completion/completions/{program}")
            wanted.append(f"{ZSH_DIR}/_{program}")
            wanted.append(f"share/fish/vendor_completions.d/{program}.fish")
        self.assertEqual([path for path in wanted if not (INSTALLED / path).is_file()], [])

    def test_man_finds_every_page(self):
        need(self, "man")
        for page in (INSTALLED / "share/man").glob("man*/*"):
            name, section = page.name.rsplit(".", 1)
            found = run("man", "-M", INSTALLED / "share/man", "-w", section, name)
            self.assertEqual(found.stdout.strip(), str(page), found.stderr)


class Offers(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.here = Path(self.folder.name) / "here"
        (self.here / "backups").mkdir(parents=True)
        (self.here / "board.tgz").touch()
        self.more = {
            "COMPLETIONS": str(BUILD / "share/completions"),
            "PROGRAMS": " ".join(programs()),
            "HOME": self.folder.name,
            "ZDOTDIR": self.folder.name,
        }

    def compare(self, offered):
        """offered: what a shell offers behind a line."""
        for line, expected in OFFERS:
            if line.split()[0] not in programs():
                continue
            some = expected.startswith("+")
            wanted = set(expected.lstrip("+").split())
            found = set(offered(line))
            with self.subTest(line=line):
                self.assertEqual(wanted & found if some else found, wanted)

    def offered_on_terminal(self, terminal, line):
        """Has all matches put on the line, and what stands there printed."""
        terminal.type(line + "\x18*\r")
        words = re.search(r"<<(.*)>>", terminal.read_until(">>"))[1].split()
        terminal.read_until("READY> ")
        typed = line.split()[1:]
        # The word that was completed is replaced.
        begun = [] if line.endswith(" ") else typed[-1:]
        offered = words[len(typed) - len(begun) :]
        if offered == begun:
            return []
        return [bare(word) for word in offered]

    def on_terminal(self, *command):
        before = os.getcwd()
        os.chdir(self.here)
        try:
            terminal = Terminal(command, **self.more)
        finally:
            os.chdir(before)
        self.addCleanup(terminal.close)
        terminal.read_until("READY> ")
        self.compare(lambda line: self.offered_on_terminal(terminal, line))

    def test_bash(self):
        need(self, "bash")
        if not Path("/usr/share/bash-completion/bash_completion").exists():
            self.skipTest("bash-completion is missing (scripts/setup.sh test)")
        rc = Path(self.folder.name, "bashrc")
        rc.write_text(BASHRC, encoding="ascii")
        self.on_terminal("bash", "--rcfile", rc, "-i")

    def test_zsh(self):
        need(self, "zsh")
        Path(self.folder.name, ".zshrc").write_text(ZSHRC, encoding="ascii")
        self.on_terminal("zsh", "-d", "-i")

    def test_fish(self):
        need(self, "fish")
        script = 'for file in $argv[2..-1]; source $file; end; cd $argv[1]; while read -l line; complete -C"$line"; echo "=="; end'
        files = [str(path) for path in sorted((BUILD / "share/completions/fish").iterdir())]
        lines = [line for line, _ in OFFERS]
        shown = subprocess.run(
            ["fish", "--no-config", "-c", script, str(self.here), *files], input="".join(line + "\n" for line in lines),
            env=environment(**self.more), capture_output=True, encoding="utf-8", timeout=PATIENCE,
        )
        self.assertEqual(shown.stderr, "")
        answers = dict(zip(lines, shown.stdout.split("==\n")))
        self.compare(lambda line: [bare(answer.split("\t")[0]) for answer in answers[line].splitlines()])


def main():
    global BUILD, SOURCES, INSTALLED, ZSH_DIR
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--installed", type=Path, required=True, help="prefix of an installation")
    parser.add_argument("--zsh-dir", required=True, help="below the prefix")
    parser.add_argument("sources", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("tests", nargs="*", help="classes or functions; otherwise all")
    arguments = parser.parse_args()
    BUILD, SOURCES, INSTALLED = (path.resolve() for path in (arguments.build, arguments.sources, arguments.installed))
    ZSH_DIR = arguments.zsh_dir
    unittest.main(argv=[sys.argv[0], "-v", *arguments.tests])


if __name__ == "__main__":
    main()

"""Contenders of the bench suite: our programs, other people's, and the files that they work on."""

import json
import os
import random
import shutil
import subprocess
import time

ENVIRONMENT = {
    "LC_ALL": "C.UTF-8", "LANGUAGE": "", "QT_QPA_PLATFORM": "offscreen", "MONGOC_DISABLE_SHM": "1",
}


class BenchError(Exception):
    """Why a row has no figures."""


def settle():
    """What others have left to be written must not be written in the next contender's time."""
    os.sync()


def timed(command, **options):
    """@return the seconds that the command took, the start of it included"""
    settle()
    begin = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, **options)
    seconds = time.perf_counter() - begin
    if done.returncode != 0:
        raise BenchError("%s: %s" % (command[0], done.stderr.decode(errors="replace").strip()[-500:]))
    return seconds


def on_cores(cores, command):
    """The command on the first cores only; on all where none are named."""
    return ["taskset", "-c", "0-%d" % (cores - 1)] + command if cores else command


class Programs:
    """Our programs, of one build."""

    def __init__(self, folder, work, log):
        self._folder, self._log = folder, log
        self.environment = {**os.environ, **ENVIRONMENT, "TMPDIR": work}
        # No measurement reads or leaves anything of the user's.
        for name in ("XDG_RUNTIME_DIR", "XDG_STATE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"):
            place = os.path.join(work, "user", name.lower())
            os.makedirs(place, mode=0o700, exist_ok=True)
            self.environment[name] = place
        self.environment.pop("ZAV_CONFIG", None)

    def path(self, name):
        program = os.path.join(self._folder, name)
        if not os.path.exists(program):
            raise BenchError("%s is not built" % program)
        return program

    def start(self, command):
        return subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self._log, text=True, env=self.environment
        )

    def lines(self, name, *arguments):
        """Runs a program to its end. @return the objects that it has printed"""
        settle()
        command = [self.path(name), *map(str, arguments)]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=self._log, text=True, env=self.environment)
        if done.returncode != 0:
            raise BenchError("%s ended with %d" % (name, done.returncode))
        return [json.loads(line) for line in done.stdout.splitlines()]

    def check(self, configuration):
        """Has a site checked. @return why it is not whole; nothing where it is"""
        done = subprocess.run(
            [self.path("zav_admin"), "--config", configuration, "check"],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=self.environment,
        )
        self._log.write(done.stdout)
        self._log.flush()
        return "" if done.returncode == 0 else "zav_admin check: " + done.stdout.strip()[-500:]


class Panel:
    """The file import panel on a site of its own, worked by bench_import. A site that is not whole at its end is an
    error."""

    def __init__(self, programs, *options, cores=0):
        self._programs = programs
        self._process = programs.start(on_cores(cores, [programs.path("bench_import"), *options]))
        told = self._answer()
        self.configuration, self.servers = told["configuration"], told["servers"]
        self.last = {}

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        problem = "" if kind else self._programs.check(self.configuration)
        self._process.stdin.close()
        code = self._process.wait()
        if problem or (code and not kind):
            raise BenchError(problem or "bench_import ended with %d" % code)

    def _answer(self):
        line = self._process.stdout.readline()
        if not line:
            raise BenchError("bench_import has ended; its log tells why")
        return json.loads(line)

    def order(self, *words):
        self._process.stdin.write(" ".join(words) + "\n")
        self._process.stdin.flush()
        return self._answer()

    def run(self, order, source, jobs=1):
        """@return the seconds of an import; all that is told of it is in last"""
        settle()
        self.last = self.order(order, source)
        if self.last["jobs"] != jobs:
            raise BenchError("%d jobs were imported instead of %d" % (self.last["jobs"], jobs))
        return self.last["seconds"]


class Archiver:
    """A program that packs a folder into a zip archive, which is removed before each run."""

    def __init__(self, name, command, folder, archive, cores=0):
        self.name, self._folder, self._archive = name, folder, archive
        self._command = on_cores(cores, [word.format(archive=archive) for word in command])

    def run(self):
        if os.path.exists(self._archive):
            os.remove(self._archive)
        return timed(self._command, cwd=self._folder)

    def size(self):
        return os.path.getsize(self._archive)


ZIP_6 = ["zip", "-q", "-r", "-6", "{archive}", "."]
ZIP_1 = ["zip", "-q", "-r", "-1", "{archive}", "."]


def seven_zip(threads):
    program = shutil.which("7z") or shutil.which("7zz")
    if not program:
        raise BenchError("7z is not installed")
    return [program, "a", "-bso0", "-bsp0", "-tzip", "-mx1", "-mmt%d" % threads, "{archive}", "."]


class CopiesAndFlush:
    """Two copies of a file, the second flushed: what an import of an archive writes."""

    name = "two copies + flush"

    def __init__(self, source, folder):
        self._script = 'rm -f "$2" "$3"; cp --reflink=never "$1" "$2" && cp --reflink=never "$2" "$3" && sync "$3"'
        self._places = [source, os.path.join(folder, "copy-1"), os.path.join(folder, "copy-2")]

    def run(self):
        for place in self._places[1:]:
            if os.path.exists(place):
                os.remove(place)
        return timed(["sh", "-c", self._script, "sh", *self._places])


class ShellLoop:
    """A loop of cp and sqlite3: what an administrator would write."""

    name = "cp + sqlite3 in a shell loop"
    _SCRIPT = """
        sqlite3 "$2/loop.db" "CREATE TABLE job (name TEXT)"
        for file in "$1"/*; do
            cp "$file" "$2/" && sqlite3 "$2/loop.db" "INSERT INTO job VALUES ('${file##*/}')"
        done"""

    def __init__(self, archives, folder):
        self._archives, self._target = archives, os.path.join(folder, "loop")

    def run(self):
        shutil.rmtree(self._target, ignore_errors=True)
        os.mkdir(self._target)
        return timed(["sh", "-e", "-c", self._SCRIPT, "sh", self._archives, self._target])


class Floor:
    """bench_floor: read, hash, write, flush file and folder, commit."""

    def __init__(self, programs, archives, folder, journal="wal"):
        self.name = "bare floor" if journal == "wal" else "bare floor, SQLite's own journal"
        self._programs, self._journal = programs, journal
        self._archives, self._target = archives, os.path.join(folder, "floor")

    def run(self):
        shutil.rmtree(self._target, ignore_errors=True)
        return self._programs.lines("bench_floor", self._archives, self._target, self._journal)[0]["seconds"]


def write_random(path, size):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as target:
        while size > 0:
            size -= target.write(os.urandom(min(size, 1 << 24)))
    return path


def write_text(path, size):
    """Records of a drawing in numbers, as layers of a job have them; no part of them comes back within the reach of a
    packer."""
    numbers = random.Random(1)
    pool = "".join(
        "P %.7f %.7f %d P 0 %d;;\n" % (numbers.random() * 20, numbers.random() * 20, numbers.randrange(40), n % 8)
        for n in range(200_000)
    ).encode()
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as target:
        while size > 0:
            size -= target.write(pool[:size])


def make_archives(folder, count, size=100_000):
    """A batch directory of one company's archives. @return its path"""
    for n in range(count):
        write_random(os.path.join(folder, "Bench", "job%05d.tgz" % n), size)
    return folder


def make_small_files(folder, count):
    numbers = random.Random(2)
    for n in range(count):
        place = os.path.join(folder, "part%02d" % (n % 40))
        os.makedirs(place, exist_ok=True)
        with open(os.path.join(place, "file%05d" % n), "w", encoding="ascii") as target:
            target.writelines("L %d %d\n" % (numbers.randrange(99999), numbers.randrange(99999)) for _ in range(80))
    return folder


def real_job(programs, work, given):
    """A job folder of 11 MB: a real one where it is there, else one made up of the same size.
    @return its path and what it is"""
    folder = os.path.join(work, "job")
    os.makedirs(folder)
    if given and os.path.exists(given):
        subprocess.run(["tar", "xzf", given, "-C", folder], check=True)
        kind = "real job"
    else:
        options = ["--name", "board", "--size", "11M", "--seed", "1", "--steps", "3", "--layers", "10"]
        subprocess.run([programs.path("zav_samples"), "job", folder, *options], check=True, stdout=subprocess.DEVNULL)
        kind = "job made up by zav_samples"
    (name,) = os.listdir(folder)
    path = os.path.join(folder, name)
    files = [os.path.join(place, file) for place, _, found in os.walk(path) for file in found]
    size = sum(os.path.getsize(file) for file in files)
    return path, "%s of %.1f MB in %d files" % (kind, size / 1e6, len(files))

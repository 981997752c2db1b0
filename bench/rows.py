"""The rows of the bench suite: what is measured, beside whom, and what it is to come to. ROWS names them all."""

import os
import shutil

import contenders as c
from results import Aim, Figure, judge, times_as_fast, times_as_long, within

_MEGABYTE = 1_000_000


class Run:
    """What a row works with, and what it finds."""

    def __init__(self, programs, work, rounds, quick, job_archive):
        self.programs, self.work, self.rounds, self.quick = programs, work, rounds, quick
        self.job_archive = job_archive
        self.figures, self.judgements, self.notes, self.plots = [], [], [], []

    def folder(self, name):
        place = os.path.join(self.work, name)
        os.makedirs(place, exist_ok=True)
        return place

    def size(self, whole, quick):
        return quick if self.quick else whole

    def add(self, measure, contender, unit, values, at=None):
        figure = Figure(measure, contender, unit, values, at)
        self.figures.append(figure)
        return figure

    def take(self, lines):
        """Adds what a program of ours has printed, and notes its servers. @return figures by measure, contender, at"""
        for line in lines:
            if "servers" in line:
                self.note("servers: " + line["servers"])
            else:
                self.add(line["measure"], line["contender"], line["unit"], line["values"], line["at"])
        return {(figure.measure, figure.contender, figure.at): figure for figure in self.figures}

    def note(self, text):
        if text and text not in self.notes:
            self.notes.append(text)

    def judge(self, *lines):
        self.judgements += lines

    def plot(self, file, title, x, y, measure, log=True):
        self.plots.append({"file": file, "title": title, "x": x, "y": y, "measure": measure, "log": log})

    def in_turns(self, runs, at=None, measure="time", rounds=0, warm_up=True):
        """Runs the contenders in turns, each once before it counts.
        @param runs by name, what runs it and gives seconds @return figures by name"""
        values = {name: [] for name in runs}
        for number in range((rounds or self.rounds) + warm_up):
            for name, run in runs.items():
                seconds = run()
                if number >= warm_up:
                    values[name].append(seconds)
        return {name: self.add(measure, name, "s", found, at) for name, found in values.items()}


def job_folder(run):
    folder, what = c.real_job(run.programs, run.work, run.job_archive)
    run.note("job folder: " + what)
    zip6 = c.Archiver("zip -r -6", c.ZIP_6, folder, os.path.join(run.work, "zip6.zip"))
    seven = c.Archiver("7z -mx1, two threads", c.seven_zip(2), folder, os.path.join(run.work, "7z.zip"))
    with c.Panel(run.programs) as panel:
        found = run.in_turns({"ours": lambda: panel.run("folder", folder), zip6.name: zip6.run, seven.name: seven.run})
        size = run.add("size", "ours", "MB", [panel.last["stored_bytes"] / _MEGABYTE])
    zip_size = run.add("size", zip6.name, "MB", [zip6.size() / _MEGABYTE])
    run.add("size", seven.name, "MB", [seven.size() / _MEGABYTE])
    run.judge(
        times_as_fast(what, found["ours"], found[zip6.name], Aim(at_least=7)),
        times_as_fast(what, found["ours"], found[seven.name], Aim(at_least=2.2)),
        judge("its archive", size, size.median / zip_size.median, Aim(at_most=0.965), "%s: %s" % (zip6.name, zip_size),
              "times as large"),
    )


def archive(run):
    size = run.size(200, 5)
    source = c.write_random(os.path.join(run.work, "archive", "board.tgz"), size * _MEGABYTE)
    copies = c.CopiesAndFlush(source, run.work)
    with c.Panel(run.programs) as panel:
        found = run.in_turns({
            "ours": lambda: panel.run("archive", source),
            copies.name: copies.run,
            "sha256sum": lambda: c.timed(["sha256sum", source]),
        })
    what = "one archive of %d MB" % size
    run.judge(
        times_as_long(what, found["ours"], found[copies.name], Aim(at_most=1.15)),
        times_as_fast(what, found["ours"], found["sha256sum"]),
    )


def many_archives(run):
    counts = run.size((10, 100, 1000), (3, 10))
    for count in counts:
        source = c.make_archives(run.folder("many-%d" % count), count)
        archives = os.path.join(source, "Bench")
        loop, floor = c.ShellLoop(archives, run.work), c.Floor(run.programs, archives, run.work)
        floor_of_default = c.Floor(run.programs, archives, run.work, "delete")
        with c.Panel(run.programs) as panel:
            found = run.in_turns({
                "ours": lambda: panel.run("batch", source, jobs=count),
                loop.name: loop.run,
                floor.name: floor.run,
                floor_of_default.name: floor_of_default.run,
            }, at=count)
    what = "%d archives of 100 KB" % counts[-1]
    run.judge(
        times_as_fast(what, found["ours"], found[loop.name], Aim(at_least=3.5)),
        times_as_long(what, found["ours"], found[floor.name], Aim(at_most=1.5)),
        times_as_long(what, found["ours"], found[floor_of_default.name]),
    )
    run.plot("archives", "A batch of archives of 100 KB", "archives", "seconds", "time")


def huge(run):
    random_size, text_size = run.size((3000, 1100), (30, 11))
    needed = (random_size + text_size) * 5 * _MEGABYTE
    if shutil.disk_usage(run.work).free < needed:
        raise c.BenchError("%.0f GB of free disk are needed" % (needed / 1e9))
    folder = run.folder("huge")
    c.write_random(os.path.join(folder, "random"), random_size * _MEGABYTE)
    c.write_text(os.path.join(folder, "text"), text_size * _MEGABYTE)
    zip1 = c.Archiver("zip -1", c.ZIP_1, folder, os.path.join(run.work, "zip1.zip"))
    with c.Panel(run.programs) as panel:
        found = run.in_turns(
            {"ours": lambda: panel.run("folder", folder), zip1.name: zip1.run}, rounds=1, warm_up=False
        )
        memory = run.add("memory", "ours", "MB", [panel.last["most_mb"]])
    what = "%.3g GB random + %.3g GB text in one folder" % (random_size / 1e3, text_size / 1e3)
    run.judge(
        times_as_fast(what, found["ours"], found[zip1.name], Aim(at_least=77 / 30)),
        within("its most memory", memory, Aim(at_most=256, unit="MB")),
    )


def sizes(run):
    for size in run.size((1, 10, 50, 200), (1, 3)):
        source = c.write_random(os.path.join(run.work, "archives", "board%d.tgz" % size), size * _MEGABYTE)
        copies = c.CopiesAndFlush(source, run.work)
        with c.Panel(run.programs) as panel:
            run.in_turns({"ours": lambda: panel.run("archive", source), copies.name: copies.run},
                         at=size, measure="archive", rounds=min(3, run.rounds))
    for size in run.size((1, 10, 100), (1,)):
        name = "board%d" % size
        options = ["--name", name, "--size", "%dM" % size, "--seed", "1", "--steps", "3", "--layers", "10"]
        c.timed([run.programs.path("zav_samples"), "job", run.work, *options])
        folder = os.path.join(run.work, name)
        packers = [c.Archiver("zip -r -6", c.ZIP_6, folder, os.path.join(run.work, "zip6.zip")),
                   c.Archiver("7z -mx1, two threads", c.seven_zip(2), folder, os.path.join(run.work, "7z.zip"))]
        with c.Panel(run.programs) as panel:
            turns = {"ours": lambda: panel.run("folder", folder), **{packer.name: packer.run for packer in packers}}
            found = run.in_turns(turns, at=size, measure="folder", rounds=min(3, run.rounds))
    run.judge(times_as_fast("job folder of %d MiB" % size, found["ours"], found["zip -r -6"]))
    run.plot("size-archive", "One archive", "size in MB", "seconds", "archive")
    run.plot("size-folder", "One job folder, made up", "size in MiB", "seconds", "folder")


def threads(run):
    cores = len(os.sched_getaffinity(0))
    job, what = c.real_job(run.programs, run.work, run.job_archive)
    count = run.size(20_000, 200)
    small = c.make_small_files(run.folder("small"), count)
    for measure, folder in (("job", job), ("small files", small)):
        for used in [number for number in (1, 2, 4, 16) if number <= cores]:
            seven = c.Archiver("7z -mx1", c.seven_zip(used), folder, os.path.join(run.work, "7z.zip"), cores=used)
            with c.Panel(run.programs, cores=used) as panel:
                found = run.in_turns({"ours": lambda: panel.run("folder", folder), seven.name: seven.run},
                                     at=used, measure=measure, rounds=min(3, run.rounds))
            subject = what if measure == "job" else "%d small files" % count
            run.judge(times_as_fast("%s, %d core%s" % (subject, used, "s"[: used > 1]), found["ours"], found[seven.name]))
    if cores < 16:
        run.note("threads: this machine has %d cores; more threads than cores were not tried" % cores)
    run.plot("threads-job", "Threads: " + what, "cores", "seconds", "job", log=False)
    run.plot("threads-small", "Threads: a folder of %d small files" % count, "cores", "seconds", "small files", log=False)


def gridfs(run):
    size, count = run.size((200, 1000), (5, 20))
    found = run.take(run.programs.lines(
        "bench_gridfs", "--large", size, "--count", count, "--rounds", min(3, run.rounds)))
    for work, subject, peer, aim in (
        ("put-large", "put %d MB" % size, "pymongo", Aim(at_least=2.14)),
        ("put-many", "put %d × 100 KB" % count, "pymongo", Aim(at_least=1.89)),
        ("get-large", "get %d MB" % size, "pymongo-checked", Aim(at_least=1.5)),
        ("get-many", "get %d × 100 KB" % count, "pymongo-checked", Aim(at_least=1.5)),
    ):
        run.judge(times_as_fast(subject, found[work, "ours", 0], found[work, peer, 0], aim))


def latency_batch(run):
    count = run.size(50, 3)
    batch = c.make_archives(run.folder("batch"), count)
    for delay in run.size((0, 1, 5, 10), (0, 2)):
        with c.Panel(run.programs, "--servers", "--delay-ms", str(delay)) as panel:
            run.note("servers: " + panel.servers)
            found = run.in_turns({"ours": lambda: panel.run("batch", batch, jobs=count)}, at=delay,
                                 rounds=min(2, run.rounds))
            rows = run.add("exchanges for rows", "ours", "an import", [panel.last["row_exchanges"] / count], delay)
            files = run.add("exchanges with the store", "ours", "an import", [panel.last["file_exchanges"] / count], delay)
            if delay == run.size(10, 2):
                by_client = _client_batch(run, panel, batch, count, delay)
        # What an import of six exchanges would wait for.
        run.add("time", "six exchanges an import (computed)", "s", [count * 6 * 2 * delay / 1000 or 0.001], delay)
    both = Figure("exchanges", "ours", "an import", [rows.median + files.median])
    run.judge(
        within("%d archives of 100 KB, %d ms each way" % (count, delay), found["ours"], Aim(at_most=8, unit="s")),
        within("their exchanges with both servers", both, Aim(at_most=6, unit="an import")),
        *by_client,
    )
    run.plot("latency-batch", "%d archives on MariaDB and GridFS" % count, "delay each way in ms", "seconds", "time",
             log=False)


def _client_batch(run, panel, batch, count, delay):
    """The same by the client as a program, with its lists and its report. @return lines of the table"""
    before = panel.order("counts")
    command = [run.programs.path("zav_client"), "--config", panel.configuration, "--batch", batch]
    seconds = c.timed(command, env=run.programs.environment)
    after = panel.order("counts")
    exchanges = sum(after[name] - before[name] for name in ("row_exchanges", "file_exchanges"))
    time = run.add("client", "zav_client --batch", "s", [seconds], delay)
    exchanged = run.add("client exchanges", "zav_client --batch", "an import", [exchanges / count], delay)
    return [within("the same by zav_client --batch, its start included", time),
            within("its exchanges, start and report included", exchanged)]


def latency_get(run):
    size = run.size(200, 5)
    for delay in run.size((0, 1, 5, 10), (0, 2)):
        found = run.take(run.programs.lines("bench_gridfs", "--large", size, "--count", 0, "--gets-only",
                                            "--rounds", min(3, run.rounds), "--delay-ms", delay))
    ours = found["get-large", "ours", delay]
    what = "get %d MB, %d ms each way" % (size, delay)
    run.judge(
        times_as_fast(what, ours, found["get-large", "pymongo", delay], Aim(at_least=1)),
        times_as_fast(what, ours, found["get-large", "pymongo-checked", delay], Aim(at_least=1)),
        times_as_fast("put" + what[len("get"):], found["put-large", "ours", delay],
                      found["put-large", "pymongo-checked", delay]),
    )
    run.plot("latency-get", "Fetching %d MB from GridFS" % size, "delay each way in ms", "seconds", "get-large", log=False)
    run.plot("latency-put", "Storing %d MB in GridFS" % size, "delay each way in ms", "seconds", "put-large", log=False)


def start(run):
    counts = run.size((0, 100_000, 1_000_000), (0, 1000))
    found = run.take(run.programs.lines("bench_job_lists", *counts))
    for count in counts[1:]:
        jobs = "%s jobs" % "{:,}".format(count)
        empty, filled = found["start ms", "ours", 0], found["start ms", "ours", count]
        more = Figure("start", "ours", "ms", [filled.median - empty.median])
        aim = Aim(at_most=500, unit="ms") if count == 100_000 else None
        run.judge(within("start with %s, more than with none" % jobs, more, aim))
        for what, subject in (("batch, panel's slot ms", "a batch of ten"), ("start MB", "memory at the start")):
            of_none = found[what, "ours", 0]
            run.judge(judge("%s with %s" % (subject, jobs), found[what, "ours", count],
                            found[what, "ours", count].median / of_none.median, None,
                            "with none: %s" % of_none, "times as much"))
    for figure in list(run.figures):
        if figure.unit == "ms" and figure.measure in ("start ms", "batch, panel's slot ms"):
            # A site without jobs has its place on a logarithmic scale, too.
            run.add("growth", figure.measure[: -len(" ms")], "ms", figure.values, max(1, figure.at))
    run.plot("growth", "Over the jobs of a site (1: none)", "jobs", "ms", "growth")


def job_filter(run):
    counts = run.size((1000, 10_000), (100,))
    found = run.take(run.programs.lines("bench_job_filter", *counts))
    for count in counts:
        bare = found["key press", "bare-table", count]
        for contender in ("ours", "ours-after-a-change"):
            subject = "key press in the filter, %d waiting jobs%s" % (count, contender[len("ours"):].replace("-", " "))
            run.judge(times_as_long(subject, found["key press", contender, count], bare))


def bare_rows(run):
    found = run.take(run.programs.lines("bench_import_rows", run.size(500, 50)))
    ours, bare = (found["rows of an import", who, 1] for who in ("ours", "bare-c"))
    run.judge(times_as_long("rows of an import on MariaDB", ours, bare, Aim(at_most=1.3)))


def looks(run):
    counts = run.size((1000, 100_000), (100,))
    found = run.take(run.programs.lines("bench_database_looks", *counts))
    for what in ("opening", "daily reading", "examination", "slowest write while read"):
        run.judge(within("%s of a database of %d jobs" % (what, counts[-1]), found[what, "ours", counts[-1]]))


class Row:
    """@param limit what the figures are bounded by"""

    def __init__(self, function, title, limit):
        self.name, self.function, self.title, self.limit = function.__name__, function, title, limit


ROWS = [
    Row(job_folder, "a job folder",
        "compressing (both cores), then the flushes of the archive, its folder and the row"),
    Row(archive, "one large archive",
        "the disk's writing of two copies, of which one is flushed, and SHA-256 on one core beside it"),
    Row(many_archives, "many small archives", "flushes: two of the store and one of the database for each archive"),
    Row(huge, "gigabytes in a folder", "compressing (both cores) and the disk"),
    Row(sizes, "time over size", "up to some MB the flushes, then the disk for archives and compressing for folders"),
    Row(threads, "time over threads", "compressing scales; listing, writing and flushing do not"),
    Row(gridfs, "GridFS beside pymongo", "the server, which shares the cores; SHA-256 and the flush of what is fetched"),
    Row(latency_batch, "a batch over a network", "exchanges with the servers, one after the other: 2 × delay for each"),
    Row(latency_get, "fetching over a network", "bytes under way: what a reply carries for each wait of 2 × delay"),
    Row(start, "the client on a site of many jobs", "the newest page of each list; counts that go on behind the window"),
    Row(job_filter, "the filter of the job list panel", "the prescribed rebuilding of the table at every key press"),
    Row(bare_rows, "rows beside the engine's C library", "commits of the server, each a flush of its log"),
    Row(looks, "looks for damage in the embedded database", "reading the file once, or every row and index"),
]

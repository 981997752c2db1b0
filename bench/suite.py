"""Runs rows of the bench suite, ours and peers in turns, and judges what they come to.

scripts/bench.sh builds what it needs and passes its arguments on. The result of each row is a JSON file; the page
docs/performance.md and its plots are made of these files.
"""

import argparse
import datetime
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import traceback

import plots
import results
from contenders import BenchError, Programs
from rows import ROWS, Run

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGE = os.path.join(ROOT, "docs", "performance.md")
PICTURES = os.path.join(ROOT, "docs", "performance")


def output_of(*command):
    """The first line that says something; nothing where there is no such program."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    except OSError:
        return ""
    return next((line.strip() for line in done.stdout.splitlines() if line.strip()), "")


def line_of(path, pattern):
    try:
        with open(path, encoding="utf-8", errors="replace") as source:
            found = re.search(pattern, source.read(), re.M)
    except OSError:
        return ""
    return found.group(1).strip() if found else ""


def machine(work):
    memory = int(line_of("/proc/meminfo", r"^MemTotal:\s*(\d+)") or 0) / 1e6
    return {
        "processor": line_of("/proc/cpuinfo", r"^model name\s*:(.*)$") or platform.machine(),
        "cores": len(os.sched_getaffinity(0)),
        "memory": "%.0f GB" % memory,
        "kernel": platform.release(),
        "file system": output_of("findmnt", "-n", "-o", "FSTYPE", "-T", work),
        "load when the row began": "%.2f" % os.getloadavg()[0],
    }


def versions(build):
    pymongo = "import pymongo; print(pymongo.version)"
    cache = os.path.join(build, "CMakeCache.txt")
    flags = line_of(cache, r"^CMAKE_CXX_FLAGS_RELEASE:\w+=(.*)$")
    sources = line_of(cache, r"^CMAKE_HOME_DIRECTORY:\w+=(.*)$") or ROOT
    found = {
        "ours": output_of("git", "-C", sources, "describe", "--always", "--dirty"),
        "compiler": "%s, %s" % (output_of("c++", "--version"), flags),
        "zip": output_of("dpkg-query", "-W", "-f", "${Version}", "zip"),
        "7z": output_of("7z") or output_of("7zz"),
        "sqlite3": output_of("sqlite3", "--version").partition(" ")[0],
        "pymongo": output_of("/usr/bin/python3", "-c", pymongo),
        "mariadbd": output_of("mariadbd", "--version"),
    }
    return {name: version for name, version in found.items() if version}


def largest_archive(folder):
    """Of the real jobs that the tests use, where there are any."""
    try:
        found = [os.path.join(folder, name) for name in os.listdir(folder) if name.endswith(".tgz")]
    except OSError:
        return None
    return max(found, key=os.path.getsize, default=None)


def run_row(row, options):
    """@return its result; its failure where it has no figures, or no trustworthy ones"""
    place = options.dir or os.environ.get("TMPDIR") or "/var/tmp"
    os.makedirs(os.path.join(options.results, "log"), exist_ok=True)
    work = tempfile.mkdtemp(prefix="zav_bench_", dir=place)
    jobs = os.environ.get("ZAV_TEST_ODBPP_DIR") or line_of(
        os.path.join(options.build, "CMakeCache.txt"), r"^ZAV_TEST_ODBPP_DIR:\w+=(.*)$")
    result = {"row": row.name, "title": row.title, "limit": row.limit, "quick": options.quick, "failure": None,
              "date": datetime.datetime.now().astimezone().isoformat(timespec="seconds"),
              "machine": machine(work), "versions": versions(options.build)}
    log_path = os.path.join(options.results, "log", row.name + ".txt")
    with open(log_path, "w", encoding="utf-8") as log:
        programs = Programs(os.path.join(options.build, "bin"), work, log)
        run = Run(programs, work, options.rounds, options.quick, largest_archive(jobs))
        try:
            row.function(run)
        except Exception as failure:  # whatever it is, the other rows go on
            if not isinstance(failure, BenchError):
                traceback.print_exc(file=log)
            result["failure"] = "%s: %s (log: %s)" % (type(failure).__name__, failure, log_path)
        finally:
            shutil.rmtree(work, ignore_errors=True)
    result.update(figures=[figure.to_json() for figure in run.figures], judgements=run.judgements,
                  notes=run.notes, plots=run.plots)
    return result


def show(result):
    print("\n%s: %s" % (result["row"], result["title"]))
    for note in result["notes"]:
        print("  " + note)
    for line in result["judgements"]:
        beside = "; %s; %s %s" % (line["peer"], results.number(line["value"]), line["how"]) if line["peer"] else ""
        aim = "; aim %s: %s" % (line["aim"], line["verdict"]) if line["aim"] and not result["quick"] else ""
        print("  %s: %s%s%s" % (line["subject"], line["ours"], beside, aim))
    if result["failure"]:
        print("  FAILED: " + result["failure"])
    sys.stdout.flush()


def all_results(folder):
    """Of the rows that have one, in their order."""
    paths = [os.path.join(folder, row.name + ".json") for row in ROWS]
    return [results.read(path) for path in paths if os.path.exists(path)]


def circumstances(found):
    """Where and of what the figures are, and what the rows have noted."""
    last = found[-1]
    lines = ["- %s: %s\n" % (name, value) for name, value in last["machine"].items() if not name.startswith("load")]
    lines.append("- measured: %s to %s\n" % (min(r["date"] for r in found), max(r["date"] for r in found)))
    loads = [float(result["machine"]["load when the row began"]) for result in found]
    lines.append("- load average when a row began (the rows' own work included): %.1f to %.1f\n" % (min(loads), max(loads)))
    lines += ["- %s: %s\n" % item for item in last["versions"].items()]
    for result in found:
        lines += ["- %s: %s\n" % (result["row"], note) for note in result["notes"]]
    return "".join(lines)


def limits(found):
    return "".join("- **%s** (%s): %s.\n" % (r["row"], r["title"], r["limit"]) for r in found)


def publish(folder):
    found = [result for result in all_results(folder) if not result["quick"]]
    if not found:
        sys.exit("bench: there are no results in %s" % folder)
    os.makedirs(PICTURES, exist_ok=True)
    pictures = ""
    for result in found:
        for plot in result["plots"]:
            with open(os.path.join(PICTURES, plot["file"] + ".svg"), "w", encoding="utf-8") as target:
                target.write(plots.draw(plot, result["figures"]))
            pictures += "![%s](performance/%s.svg)\n\n" % (plot["title"], plot["file"])
    with open(PAGE, encoding="utf-8") as source:
        text = source.read()
    for name, content in (("circumstances", circumstances(found)), ("table", results.table(found)),
                          ("limits", limits(found)), ("plots", pictures)):
        text = results.replace_between(text, name, content)
    with open(PAGE, "w", encoding="utf-8") as target:
        target.write(text)
    print("bench: docs/performance.md tells of %d rows" % len(found))


def read_options():
    parser = argparse.ArgumentParser(prog="scripts/bench.sh", description=__doc__)
    parser.add_argument("rows", nargs="*", metavar="ROW", help="without: all of them")
    parser.add_argument("--list", action="store_true", help="name the rows, and end")
    parser.add_argument("--rounds", type=int, default=5, help="turns of each contender (5; long rows take fewer)")
    parser.add_argument("--quick", action="store_true", help="small sizes, to try the suite: no aim can be missed")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--dir", help="where sites and files are made ($TMPDIR, /var/tmp)")
    parser.add_argument("--results", default=os.path.join(ROOT, "build", "bench", "results"), help="folder of the JSON")
    parser.add_argument("--publish", action="store_true", help="make docs/performance.md of the results, and end")
    return parser.parse_args()


def main():
    options = read_options()
    if options.list:
        for row in ROWS:
            print("%-14s %s" % (row.name, row.title))
        return 0
    if options.publish:
        publish(options.results)
        return 0
    unknown = set(options.rows) - {row.name for row in ROWS}
    if unknown:
        sys.exit("bench: unknown rows: " + ", ".join(sorted(unknown)))
    failed = []
    for row in ROWS:
        if options.rows and row.name not in options.rows:
            continue
        result = run_row(row, options)
        results.write(result, os.path.join(options.results, row.name + ".json"))
        show(result)
        if results.has_failed(result):
            failed.append(row.name)
    if failed:
        print("\nbench: failed or missed an aim by more than 15 %: " + ", ".join(failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

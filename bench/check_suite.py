"""Checks the arithmetic of the bench suite, its table and its pictures, on results that are made up here; and where
programs are given, that the suite runs rows with them.

Usage: check_suite.py [BUILD_DIR]
"""

import json
import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

import plots
import results
from results import Aim, Figure

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = None


def made_up(verdicts, quick=False, failure=None):
    """A result as a row leaves it; nobody has measured it."""
    judgements = [dict(results.judge("made up", "1 s", 1.0), verdict=verdict) for verdict in verdicts]
    return {"row": "made_up", "judgements": judgements, "quick": quick, "failure": failure}


class Arithmetic(unittest.TestCase):
    def test_median_and_spread(self):
        figure = Figure("time", "ours", "s", [3, 1, 2])
        self.assertEqual(figure.median, 2)
        self.assertEqual(str(figure), "2.00 s (1.00..3.00)")
        self.assertEqual(Figure.from_json(json.loads(json.dumps(figure.to_json()))).values, [3, 1, 2])
        with self.assertRaises(ValueError):
            Figure("time", "ours", "s", [])

    def test_an_aim_is_missed_by_more_than_15_percent(self):
        for aim, value, verdict in (
            (Aim(at_least=7), 7.0, results.MET),
            (Aim(at_least=7), 6.9, results.CLOSE),
            (Aim(at_least=7), 6.1, results.CLOSE),
            (Aim(at_least=7), 6.0, results.MISSED),
            (Aim(at_most=1.15), 1.15, results.MET),
            (Aim(at_most=1.15), 1.3, results.CLOSE),
            (Aim(at_most=1.15), 1.33, results.MISSED),
        ):
            with self.subTest(aim=str(aim), value=value):
                self.assertEqual(aim.verdict(value), verdict)

    def test_ratios_say_who_is_faster(self):
        ours, peer = Figure("time", "ours", "s", [2]), Figure("time", "peer", "s", [6])
        self.assertEqual(results.times_as_fast("work", ours, peer)["value"], 3)
        self.assertAlmostEqual(results.times_as_long("work", ours, peer)["value"], 1 / 3)
        self.assertEqual(results.times_as_fast("work", ours, peer)["verdict"], results.UNJUDGED)

    def test_what_makes_the_suite_fail(self):
        self.assertFalse(results.has_failed(made_up([results.MET, results.CLOSE, results.UNJUDGED])))
        self.assertTrue(results.has_failed(made_up([results.MET, results.MISSED])))
        self.assertFalse(results.has_failed(made_up([results.MISSED], quick=True)))
        self.assertTrue(results.has_failed(made_up([], quick=True, failure="the site is not whole")))

    def test_numbers_are_short(self):
        for value, text in ((0.05231, "0.0523"), (12.345, "12.3"), (1234, "1,234"), (1996578, "1,996,578"), (0, "0")):
            self.assertEqual(results.number(value), text)


class Page(unittest.TestCase):
    def test_table_has_a_line_for_each_judgement(self):
        lines = results.table([made_up([results.MET, results.MISSED]), made_up([], failure="no server")]).splitlines()
        self.assertEqual(len(lines), 2 + 2 + 1)
        self.assertEqual({line.count("|") for line in lines}, {8})
        self.assertIn("no server", lines[-1])

    def test_only_what_is_between_the_marks_is_replaced(self):
        page = "before\n<!-- table -->\nold\n<!-- /table -->\nafter\n"
        expected = "before\n<!-- table -->\nnew\n<!-- /table -->\nafter\n"
        self.assertEqual(results.replace_between(page, "table", "new\n"), expected)
        with self.assertRaises(ValueError):
            results.replace_between("no marks", "table", "new\n")


class Pictures(unittest.TestCase):
    def drawn(self, log, places=(1, 10, 100)):
        figures = [
            Figure("time", who, "s", [factor * at, factor * at * 1.2], at).to_json()
            for who, factor in (("ours", 0.01), ("peer <1>", 0.05))
            for at in places
        ]
        figures.append(Figure("size", "ours", "MB", [1]).to_json())
        plot = {"title": "Time & size", "x": "size in MB", "y": "seconds", "measure": "time", "log": log}
        return xml.fromstring(plots.draw(plot, figures))

    def test_all_is_in_the_picture(self):
        names = {"s": "http://www.w3.org/2000/svg"}
        for log in (True, False):
            for places in ((1, 10, 100), (5,), (0, 10)):
                with self.subTest(log=log, places=places):
                    svg = self.drawn(log, places)
                    texts = [text.text for text in svg.iterfind(".//s:text", names)]
                    for text in ("Time & size", "size in MB", "seconds", "ours", "peer <1>"):
                        self.assertIn(text, texts)
                    self.assertEqual(len(svg.findall(".//s:polyline", names)), 2)
                    self.assertEqual(len(svg.findall(".//s:g[@class='mark']", names)), 2 * len(places))
                    self.assertIn("prefers-color-scheme:dark", svg.find("s:style", names).text)
                    for line in svg.iterfind(".//s:polyline", names):
                        for point in line.get("points").split():
                            x, y = map(float, point.split(","))
                            self.assertTrue(plots.LEFT <= x <= plots.RIGHT and plots.TOP <= y <= plots.BOTTOM)


class Rows(unittest.TestCase):
    def bench(self, *arguments):
        command = [os.path.join(ROOT, "scripts", "bench.sh"), "--build", BUILD, "--quick", "--rounds", "1", *arguments]
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)

    def test_rows_without_servers(self):
        if not BUILD:
            self.skipTest("no programs are given")
        rows = ("archive", "many_archives")
        with tempfile.TemporaryDirectory() as place:
            done = self.bench("--results", place, "--dir", place, *rows)
            self.assertEqual(done.returncode, 0, done.stdout)
            for row in rows:
                result = results.read(os.path.join(place, row + ".json"))
                self.assertIsNone(result["failure"])
                self.assertTrue(result["quick"] and result["machine"]["cores"] and result["versions"]["compiler"])
                self.assertTrue(all(figure["median"] > 0 for figure in result["figures"]))
                self.assertIn("ours", {figure["contender"] for figure in result["figures"]})
                self.assertTrue(result["judgements"])
                for plot in result["plots"]:
                    xml.fromstring(plots.draw(plot, result["figures"]))
            self.assertFalse([name for name in os.listdir(place) if name.startswith("zav_bench_")])

    def test_a_row_that_cannot_be_run_fails(self):
        with tempfile.TemporaryDirectory() as place:
            command = [sys.executable, "-B", os.path.join(ROOT, "bench", "suite.py"), "--build", place, "--quick"]
            command += ["--results", place, "--dir", place, "archive"]
            done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn("is not built", results.read(os.path.join(place, "archive.json"))["failure"])


if __name__ == "__main__":
    if len(sys.argv) > 1:
        BUILD = os.path.abspath(sys.argv.pop())
    unittest.main()

"""Figures of the bench suite: medians with their spread, what becomes of an aim, and the table of it all."""

import json
import math
import statistics

# How far a ratio may lie beside its aim before the suite fails: machines differ, and so do their days.
TOLERANCE = 0.15
MET, CLOSE, MISSED, UNJUDGED = "met", "within 15 %", "MISSED", "-"


def number(value):
    """As a person reads it: at least three digits of it, and nothing behind the point that tells nothing."""
    if value == 0 or not math.isfinite(value):
        return "%g" % value
    digits = 2 - math.floor(math.log10(abs(value)))
    return "{:,.{}f}".format(value, max(0, digits)) if digits < 5 else "%.3g" % value


class Figure:
    """What a contender took or needed, in every round."""

    def __init__(self, measure, contender, unit, values, at=None):
        if not values:
            raise ValueError("%s of %s has no values" % (measure, contender))
        self.measure, self.contender, self.unit, self.at = measure, contender, unit, at
        self.values = [float(value) for value in values]

    @property
    def median(self):
        return statistics.median(self.values)

    def __str__(self):
        text = "%s %s" % (number(self.median), self.unit)
        if len(self.values) > 1:
            text += " (%s..%s)" % (number(min(self.values)), number(max(self.values)))
        return text

    def to_json(self):
        return {
            "measure": self.measure, "contender": self.contender, "at": self.at, "unit": self.unit,
            "values": self.values, "median": self.median, "min": min(self.values), "max": max(self.values),
        }

    @staticmethod
    def from_json(data):
        return Figure(data["measure"], data["contender"], data["unit"], data["values"], data["at"])


class Aim:
    """A bound of a figure or of a ratio of two."""

    def __init__(self, at_least=None, at_most=None, unit=""):
        if (at_least is None) == (at_most is None):
            raise ValueError("an aim has one bound")
        self._lower, self._bound, self._unit = at_least is not None, at_least if at_most is None else at_most, unit

    def verdict(self, value):
        # How many times the aim is missed; at most 1 where it is met.
        beside = self._bound / value if self._lower else value / self._bound
        return MET if beside <= 1 else CLOSE if beside <= 1 + TOLERANCE else MISSED

    def __str__(self):
        unit = " " + self._unit if self._unit else ""
        return "%s %s%s" % ("≥" if self._lower else "≤", number(self._bound), unit)


def judge(subject, ours, value, aim=None, peer="", how=""):
    """A line of the table. @param value what the aim is about, how what it is"""
    return {
        "subject": subject, "ours": str(ours), "peer": peer, "value": value, "how": how,
        "aim": str(aim) if aim else "", "verdict": aim.verdict(value) if aim else UNJUDGED,
    }


def times_as_fast(subject, ours, peer, aim=None):
    return judge(subject, ours, peer.median / ours.median, aim, "%s: %s" % (peer.contender, peer), "times as fast")


def times_as_long(subject, ours, peer, aim=None):
    return judge(subject, ours, ours.median / peer.median, aim, "%s: %s" % (peer.contender, peer), "times as long")


def within(subject, ours, aim=None):
    return judge(subject, ours, ours.median, aim)


def has_failed(result):
    """Whether a row's result makes the suite fail. Aims are those of the whole sizes: a quick run misses none."""
    missed = any(line["verdict"] == MISSED for line in result["judgements"])
    return bool(result["failure"]) or (missed and not result["quick"])


def table(results):
    """The Markdown table of the results, in their order."""
    lines = ["| row | what | ours | beside it, same run | comes to | aim | |", "|---|---|---|---|---|---|---|"]
    for result in results:
        for line in result["judgements"]:
            comes_to = "%s %s" % (number(line["value"]), line["how"]) if line["peer"] else ""
            cells = [result["row"], line["subject"], line["ours"], line["peer"], comes_to, line["aim"], line["verdict"]]
            lines.append("| %s |" % " | ".join(cells))
        if result["failure"]:
            lines.append("| %s | FAILED: %s | | | | | |" % (result["row"], result["failure"].replace("|", "/")))
    return "\n".join(lines) + "\n"


def replace_between(text, name, content):
    """Puts content between the marks <!-- name --> and <!-- /name --> of a page."""
    begin, end = "<!-- %s -->\n" % name, "<!-- /%s -->" % name
    before, _, rest = text.partition(begin)
    _, _, after = rest.partition(end)
    if not rest or end not in rest:
        raise ValueError("the page has no marks for %s" % name)
    return before + begin + content + end + after


def write(result, path):
    with open(path, "w", encoding="utf-8") as target:
        json.dump(result, target, indent=1, ensure_ascii=False)
        target.write("\n")


def read(path):
    with open(path, encoding="utf-8") as source:
        return json.load(source)

"""Draws the figures of a row as an SVG of its own: lines over what varies, with the spread of the rounds.

Texts are texts, colours follow the reader's light or dark scheme, and lines differ by their marks, too.
"""

import math
from xml.sax.saxutils import escape

from results import Figure, number

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 700, 50, 340
# Light and dark, told apart by readers who see colours differently.
COLOURS = (
    ("#0b5cad", "#7ab8ff"), ("#b35900", "#ffb266"), ("#1a7f4b", "#6fd8a3"),
    ("#8a3fb5", "#d3a4ff"), ("#6b6b6b", "#b8b8b8"), ("#a8243b", "#ff9aa8"),
)
MARKS = (
    '<circle cx="{x:.1f}" cy="{y:.1f}" r="4"/>',
    '<path d="M{x:.1f} {y:.1f}m-4 -4h8v8h-8z"/>',
    '<path d="M{x:.1f} {y:.1f}m0 -5l5 9h-10z"/>',
    '<path d="M{x:.1f} {y:.1f}m0 -5l5 5l-5 5l-5 -5z"/>',
    '<path d="M{x:.1f} {y:.1f}m0 5l5 -9h-10z"/>',
    '<path d="M{x:.1f} {y:.1f}m-5 -1h4v-4h2v4h4v2h-4v4h-2v-4h-4z"/>',
)


class Axis:
    """Places of values between two ends of the picture, on a linear scale from 0 or on a logarithmic one."""

    def __init__(self, values, begin, end, logarithmic):
        self._log = logarithmic and min(values) > 0
        self._begin, self._end = begin, end
        low, high = (min(values), max(values)) if self._log else (0, max(values) or 1)
        if self._log:
            low, high = math.log10(low) - 0.08, math.log10(high) + 0.08
        self._low, self._high = low, high if self._log else high * 1.05

    def place(self, value):
        value = math.log10(value) if self._log else value
        return self._begin + (value - self._low) / (self._high - self._low) * (self._end - self._begin)

    def ticks(self):
        if not self._log:
            step = 10 ** math.floor(math.log10(self._high))
            step = next(step * part for part in (0.1, 0.2, 0.5, 1) if self._high / (step * part) <= 8)
            return [step * n for n in range(int(self._high / step) + 1)]
        decades = range(math.floor(self._low), math.ceil(self._high) + 1)
        few = self._high - self._low > 2.5
        found = [m * 10.0**d for d in decades for m in ((1,) if few else (1, 2, 5))]
        return [tick for tick in found if self._low <= math.log10(tick) <= self._high]


def _style(count):
    light = "".join(".c%d{color:%s}" % (n, COLOURS[n][0]) for n in range(count))
    dark = "".join(".c%d{color:%s}" % (n, COLOURS[n][1]) for n in range(count))
    return (
        "svg{background:#fff}text{font:13px sans-serif;fill:#222}.title{font-size:15px;font-weight:600}"
        ".grid{stroke:#ddd}.axis{stroke:#555}.line{fill:none;stroke:currentColor;stroke-width:2}"
        ".spread{stroke:currentColor;stroke-width:1}.mark{fill:currentColor}" + light +
        "@media (prefers-color-scheme:dark){svg{background:#14171c}text{fill:#e4e4e4}.grid{stroke:#333a44}"
        ".axis{stroke:#aaa}" + dark + "}"
    )


def _axes(plot, across, up):
    yield '<line class="axis" x1="%d" y1="%d" x2="%d" y2="%d"/>' % (LEFT, BOTTOM, RIGHT, BOTTOM)
    yield '<line class="axis" x1="%d" y1="%d" x2="%d" y2="%d"/>' % (LEFT, TOP, LEFT, BOTTOM)
    for tick in across.ticks():
        x = across.place(tick)
        yield '<line class="grid" x1="%.1f" y1="%d" x2="%.1f" y2="%d"/>' % (x, TOP, x, BOTTOM)
        yield '<text x="%.1f" y="%d" text-anchor="middle">%s</text>' % (x, BOTTOM + 18, "{:,g}".format(tick))
    for tick in up.ticks():
        y = up.place(tick)
        yield '<line class="grid" x1="%d" y1="%.1f" x2="%d" y2="%.1f"/>' % (LEFT, y, RIGHT, y)
        yield '<text x="%d" y="%.1f" text-anchor="end">%s</text>' % (LEFT - 8, y + 4, "{:,g}".format(tick))
    yield '<text x="%d" y="%d" text-anchor="end">%s</text>' % (RIGHT, BOTTOM + 38, escape(plot["x"]))
    yield '<text x="%d" y="%d">%s</text>' % (8, TOP - 10, escape(plot["y"]))


def _line(n, points, across, up):
    places = [(across.place(figure.at), figure) for figure in points]
    path = " ".join("%.1f,%.1f" % (x, up.place(figure.median)) for x, figure in places)
    yield '<g class="c%d"><polyline class="line" points="%s"/>' % (n, path)
    for x, figure in places:
        ends = (x, up.place(min(figure.values)), x, up.place(max(figure.values)))
        yield '<line class="spread" x1="%.1f" y1="%.1f" x2="%.1f" y2="%.1f"/>' % ends
        told = "%s at %s: %s" % (figure.contender, number(figure.at), figure)
        mark = MARKS[n].format(x=x, y=up.place(figure.median))
        yield '<g class="mark"><title>%s</title>%s</g>' % (escape(told), mark)
    yield "</g>"


def draw(plot, figures):
    """@param plot title, x and y (names with units), measure, and whether the scales are logarithmic (log)
    @param figures all of the row, as in its JSON
    @return the SVG's text"""
    points = [Figure.from_json(data) for data in figures if data["measure"] == plot["measure"]]
    contenders = list(dict.fromkeys(figure.contender for figure in points))[: len(COLOURS)]
    across = Axis([figure.at for figure in points], LEFT, RIGHT, plot["log"])
    up = Axis([value for figure in points for value in figure.values], BOTTOM, TOP, plot["log"])
    parts = [
        '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" role="img">' % (WIDTH, HEIGHT),
        "<title>%s</title><style>%s</style>" % (escape(plot["title"]), _style(len(contenders))),
        '<text class="title" x="8" y="20">%s</text>' % escape(plot["title"]),
    ]
    parts += _axes(plot, across, up)
    x = LEFT
    for n, contender in enumerate(contenders):
        line = sorted((figure for figure in points if figure.contender == contender), key=lambda figure: figure.at)
        parts += _line(n, line, across, up)
        parts.append('<g class="c%d mark">%s</g>' % (n, MARKS[n].format(x=x, y=HEIGHT - 10)))
        parts.append('<text x="%d" y="%d">%s</text>' % (x + 10, HEIGHT - 6, escape(contender)))
        x += 30 + 7 * len(contender)
    return "\n".join(parts + ["</svg>"]) + "\n"

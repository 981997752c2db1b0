#!/usr/bin/env python3
"""Builds the manual and the reference pages: Markdown to HTML that browsers and QTextBrowser show alike.

    build.py DOCS OUTPUT --version VERSION

DOCS/manual/{zh,en}/*.md become OUTPUT/{zh,en}/*.html, DOCS/*.md become OUTPUT/reference/*.html; pictures and the style
sheet lie beside them. What an earlier build left in OUTPUT and this one does not write is removed.

The contents at the left are the lists of index.md: a page that they do not name is an error, as is a link to a page, an
anchor or a picture that is not there. So nothing that is built leads nowhere. Links to files of the source tree that are
no pages become plain text. The same sources give the same bytes: no date, no path, no order of a folder goes in.

Needs Python's markdown module (Debian: python3-markdown).
"""

import argparse
import html
import pathlib
import re
import string
import sys
import urllib.parse

import markdown

LANGUAGES = {
    "zh": {"lang": "zh-CN", "name": "中文", "title": "料号导入手册", "contents": "目录", "reference": "参考资料（英文）",
           "previous": "上一页", "next": "下一页", "skip": "跳到正文", "version": "版本"},
    "en": {"lang": "en", "name": "English", "title": "Job import manual", "contents": "Contents",
           "reference": "Reference", "previous": "Previous page", "next": "Next page", "skip": "Skip to the text",
           "version": "Version"},
}
REFERENCE = dict(LANGUAGES["en"], title="Job import reference")


class BuildError(Exception):
    """What is wrong with a source, as FILE: TEXT."""


def anchor_of(title, separator="-"):
    """The id of a heading, as code forges make it, so that links work there too; Chinese stays as it is."""
    return re.sub(r"[^\w\- ]", "", title.strip().lower()).replace(" ", separator)


class Nesting:
    """Indents what belongs to an item of a list by four columns for each list, and code there by four more.

    Code forges and editors indent as far as the item's text begins, two or three columns, and fence code there as
    anywhere. Python's markdown wants four columns, knows no fences within lists, and takes a new item for text where no
    empty line parts it from a paragraph of the one before.
    """

    def __init__(self):
        self._lines = []
        self._items = []  # of the open items: the column at which the text begins
        self._loose = False  # whether the innermost item has more than one paragraph
        self._fence = None
        self._code_ends = False

    def text(self, source):
        for line in source.split("\n"):
            if self._fence:
                self._code(line)
            else:
                self._line(line)
        return "\n".join(self._lines)

    def _line(self, line):
        bare = line.lstrip(" ")
        if not bare:
            self._lines.append(line)
            return
        column = len(line) - len(bare)
        after_empty = not self._lines or not self._lines[-1].strip()
        marker = re.match(r"(?:[-*+]|\d+[.)]) +(?=\S)", bare) if self._items or after_empty else None
        opens = re.match(r"(```+|~~~+)", bare)
        # A line further left goes on with a paragraph, unless it begins something.
        if marker or opens or after_empty or bare.startswith("<!--"):
            while self._items and column < self._items[-1]:
                self._items.pop()
        if marker and self._loose and not after_empty:
            self._lines.append("")
        self._loose = bool(self._items) and (self._loose or after_empty) and not marker
        if opens:
            self._open(opens[1], line)
            return
        self._code_ends = False
        depth = len(self._items)
        indent = 4 * depth + max(column - self._items[-1], 0) if depth else column
        self._lines.append(" " * indent + bare)
        if marker:
            self._items.append(column + len(marker[0]))

    def _open(self, fence, line):
        self._fence = fence
        if not self._items:
            self._lines.append(line)
            return
        # Two blocks with nothing between them would be one.
        self._lines += ["", " " * (4 * len(self._items)) + "<!-- -->", ""] if self._code_ends else [""]
        self._loose = True

    def _code(self, line):
        closes = line.strip() == self._fence
        if not self._items:
            self._lines.append(line)
        elif not closes:
            self._lines.append(f"{' ' * (4 * len(self._items) + 4)}{line[self._items[-1]:]}".rstrip())
        if closes:
            self._fence = None
            self._code_ends = True


class Page:
    """A source, its HTML, and what it is called."""

    def __init__(self, source, section, text):
        self.source = source
        self.section = section
        self.name = source.stem
        converter = markdown.Markdown(
            extensions=["tables", "fenced_code", "sane_lists", "attr_list", "toc"],
            extension_configs={"toc": {"slugify": anchor_of}}, output_format="html")
        body = converter.convert(Nesting().text(text))
        # A short name in a cell stays in one line; what is long may break, or it would push the other columns out.
        body = re.sub(r"<td><code>([^<]{1,24})</code>", r'<td><code class="key">\1</code>', body)
        # A bar within a cell is written with a backslash, which Python's markdown leaves in code.
        self.body = re.sub(r"<td>.*?</td>", lambda cell: cell[0].replace(r"\|", "|"), body, flags=re.S)
        self.headings = [(token["level"], token["id"], token["name"]) for token in _flat(converter.toc_tokens)]
        if not self.headings or self.headings[0][0] != 1:
            raise BuildError(f"{source}: does not begin with a title")
        self.title = self.headings[0][2]
        self.anchors = set(re.findall(r'\bid="([^"]*)"', self.body))

    @property
    def address(self):
        return f"{self.section}/{self.name}.html"


def _flat(tokens):
    for token in tokens:
        yield token
        yield from _flat(token["children"])


def read_pages(folder, section):
    """The pages of a folder by name."""
    return {source.stem: Page(source, section, source.read_text(encoding="utf-8"))
            for source in sorted(folder.glob("*.md"))}


def contents_of(index, pages):
    """The parts of a manual as the lists of its index have them: [(title of the part, [page])]."""
    parts = []
    named = {"index"}
    for piece in re.finditer(r"<h2[^>]*>(.*?)</h2>|<li>\s*(?:<p>)?\s*<a href=\"([\w-]+)\.md\"", index.body, re.S):
        if piece[1]:
            parts.append((piece[1], []))
        elif parts and piece[2] in pages:
            parts[-1][1].append(pages[piece[2]])
            named.add(piece[2])
    missing = sorted(set(pages) - named)
    if missing:
        raise BuildError(f"{index.source}: does not name {', '.join(missing)}")
    return [part for part in parts if part[1]]


class Links:
    """Leads links of the sources to what is built of them."""

    def __init__(self, pages, files):
        self._pages = {page.source.resolve(): page for page in pages}
        self._files = files

    def resolved(self, page):
        """The page's body with the links of the output."""
        body = re.sub(r'<a href="([^"]*)"([^>]*)>(.*?)</a>', lambda link: self._link(page, link), page.body, flags=re.S)
        return re.sub(r'(<img\b[^>]*?\bsrc=")([^"]*)(")', lambda image: self._image(page, image), body)

    def _link(self, page, link):
        address, rest, text = html.unescape(link[1]), link[2], link[3]
        if re.match(r"[a-z]+:", address):
            return link[0]
        path, _, anchor = urllib.parse.unquote(address).partition("#")
        target = (page.source.parent / path).resolve() if path else page.source.resolve()
        led_to = self._pages.get(target)
        if led_to is None:
            if not target.exists():
                raise BuildError(f"{page.source}: the link {address} leads nowhere")
            inside = self._file_address(page, target)
            return f'<a href="{inside}"{rest}>{text}</a>' if inside else text
        if anchor and anchor not in led_to.anchors:
            raise BuildError(f"{page.source}: {path or page.source.name} has no anchor {anchor}")
        place = relative(page, led_to.address) if path else ""
        place += "#" + urllib.parse.quote(anchor) if anchor else ""
        return f'<a href="{place}"{rest}>{text}</a>'

    def _image(self, page, image):
        address = html.unescape(image[2])
        place = self._file_address(page, (page.source.parent / address).resolve())
        if not place:
            raise BuildError(f"{page.source}: the picture {address} is not there")
        return image[1] + place + image[3]

    def _file_address(self, page, target):
        """Of a file that lies beside the pages; empty where none is built of it."""
        for source, address in self._files.items():
            if source.resolve() == target:
                return urllib.parse.quote(relative(page, address))
        return ""


def relative(page, address):
    """From a page to an address within the output."""
    section, _, rest = address.partition("/")
    return rest if section == page.section else f"../{address}"


def navigation(page, parts, words):
    """The contents: all pages, and the headings of the one that is shown."""
    lines = []
    for title, pages in parts:
        lines.append(f"<h2>{title}</h2>\n<ul>")
        for other in pages:
            if other is not page:
                lines.append(f'<li><a href="{relative(page, other.address)}">{other.title}</a></li>')
                continue
            lines.append(f'<li class="here"><a href="{other.name}.html" aria-current="page">{other.title}</a>')
            inner = [f'<li><a href="#{urllib.parse.quote(anchor)}">{name}</a></li>'
                     for level, anchor, name in other.headings if level == 2]
            lines += ["<ul>", *inner, "</ul>"] if inner else []
            lines.append("</li>")
        lines.append("</ul>")
    if page.section != "reference":
        lines.append(f'<p><a href="../reference/index.html">{words["reference"]}</a></p>')
    return "\n".join(lines)


def neighbours(page, parts, words):
    """Links to the page before and the page behind."""
    order = [other for _, pages in parts for other in pages]
    if page not in order:
        return ""
    at = order.index(page)
    links = []
    for step, rel, arrow in ((-1, "previous", "← {}"), (1, "next", "{} →")):
        if 0 <= at + step < len(order):
            other = order[at + step]
            links.append(f'<a class="{rel}" rel="{rel[:4]}" title="{words[rel]}" href="{other.name}.html">'
                         f"{arrow.format(other.title)}</a>")
    return '<nav class="neighbours">\n' + "\n".join(links) + "\n</nav>" if links else ""


def languages(page, manuals):
    """The same page in the manual's languages; of the reference, their first pages."""
    links = []
    for section, words in LANGUAGES.items():
        name = page.name if page.name in manuals[section] and page.section != "reference" else "index"
        here = ' aria-current="true"' if section == page.section else ""
        links.append(f'<a href="{relative(page, f"{section}/{name}.html")}" lang="{words["lang"]}"'
                     f'{here}>{words["name"]}</a>')
    return "\n".join(links)


def reference_index(docs, pages):
    """The first page of the reference, which has no source: all titles."""
    entries = "\n".join(f"* [{page.title}]({page.name}.md)" for page in pages.values())
    return Page(docs / "index.md", "reference", f'# {REFERENCE["title"]}\n\n{entries}\n')


class Output:
    """The folder that is built: what is written stays, all else goes."""

    def __init__(self, folder):
        self._folder = folder
        self._written = set()

    def write(self, address, content):
        target = self._folder / address
        target.parent.mkdir(parents=True, exist_ok=True)
        self._written.add(target)
        if not target.is_file() or target.read_bytes() != content:
            target.write_bytes(content)

    def remove_others(self):
        for found in sorted(self._folder.rglob("*"), reverse=True):
            if found.is_file() and found not in self._written:
                found.unlink()
            elif found.is_dir() and not any(found.iterdir()):
                found.rmdir()


def beside_pages(docs):
    """Files that pages show or lead to, with their place in the output."""
    files = {picture: f"pictures/{picture.parent.name}/{picture.name}"
             for picture in sorted(docs.glob("manual/pictures/*/*.png"))}
    files.update({picture: f"reference/{picture.parent.name}/{picture.name}" for picture in sorted(docs.glob("*/*.svg"))})
    return files


def build(docs, folder, version):
    """Writes all pages. Raises BuildError where a source is wrong."""
    manuals = {section: read_pages(docs / "manual" / section, section) for section in LANGUAGES}
    for section, pages in manuals.items():
        other = next(name for name in LANGUAGES if name != section)
        for name in sorted(set(pages) - set(manuals[other])):
            raise BuildError(f"{pages[name].source}: there is no such page in {docs / 'manual' / other}")
    reference = read_pages(docs, "reference")
    files = beside_pages(docs)
    links = Links([page for pages in (*manuals.values(), reference) for page in pages.values()], files)
    template = string.Template((docs / "manual" / "template.html").read_text(encoding="utf-8"))
    output = Output(folder)

    def write(page, body, parts, words):
        title = words["title"] if page.title == words["title"] else f'{page.title} – {words["title"]}'
        output.write(page.address, template.substitute(
            lang=words["lang"], title=title, manual=words["title"], body=body, contents=words["contents"],
            skip=words["skip"], navigation=navigation(page, parts, words), languages=languages(page, manuals),
            neighbours=neighbours(page, parts, words), version=f'{words["version"]} {html.escape(version)}').encode())

    for section, pages in manuals.items():
        parts = contents_of(pages["index"], pages)
        for page in pages.values():
            write(page, links.resolved(page), parts, LANGUAGES[section])
    parts = [(REFERENCE["title"], list(reference.values()))]
    for page in (reference_index(docs, reference), *reference.values()):
        write(page, links.resolved(page), parts, REFERENCE)
    for source, address in files.items():
        output.write(address, source.read_bytes())
    output.write("manual.css", (docs / "manual" / "manual.css").read_bytes())
    output.remove_others()


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("docs", type=pathlib.Path)
    arguments.add_argument("output", type=pathlib.Path)
    arguments.add_argument("--version", required=True)
    chosen = arguments.parse_args()
    try:
        build(chosen.docs, chosen.output, chosen.version)
    except BuildError as wrong:
        sys.exit(f"error: {wrong}")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Follows every link inside a folder of Markdown or HTML files, without a network.

    check_links.py FOLDER

A link leads to a file of the folder, or of its surroundings, and its #part to a heading or an element
there. Prints each link that leads nowhere; the last line counts. Ends with status 1 where one is broken
or none was found.
"""

from __future__ import annotations

import argparse
import re
import sys
from functools import lru_cache
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

SKIPPED = {"build", ".git", "node_modules"}
FENCE = re.compile(r"^(```|~~~).*?^\1`*~*$", re.M | re.S)


class Page(HTMLParser):
    def __init__(self) -> None:
        super().__init__()
        self.links: list[str] = []
        self.parts: set[str] = set()

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        if ("data-fetched", None) in attrs:
            return  # a file that a script fetches, and that may be absent
        for name, value in attrs:
            if value is None:
                continue
            if name in ("id", "name"):
                self.parts.add(value)
            elif name in ("href", "src"):
                self.links.append(value)


def slug(heading: str) -> str:
    """The part that a heading of a Markdown file is reached by."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "")
    return re.sub(r"\s", "-", re.sub(r"[^\w\s-]", "", text.strip().lower()))


@lru_cache(maxsize=None)
def read(file: Path) -> tuple[tuple[str, ...], frozenset[str]]:
    """Links of a file, and the parts that a link may lead to."""
    text = file.read_text(encoding="utf-8")
    if file.suffix == ".html":
        page = Page()
        page.feed(text)
        return tuple(page.links), frozenset(page.parts)
    if file.suffix == ".md":
        prose = FENCE.sub("", text)
        headings = re.findall(r"^#+ (.*)$", prose, re.M)
        return tuple(re.findall(r"\]\(([^)\s]+)\)", prose)), frozenset(map(slug, headings))
    return (), frozenset()


def fault_of(link: str, file: Path, root: Path) -> str:
    """Why a link of a file leads nowhere; the empty text where it does lead somewhere."""
    parts = urlsplit(link)
    if parts.scheme or parts.netloc:
        return ""
    path = unquote(parts.path)
    target = file
    if path:
        target = root / path.lstrip("/") if path.startswith("/") else file.parent / path
    if target.is_dir() and file.suffix == ".html":
        target = target / "index.html"
    if not target.exists():
        return "no such file"
    part = unquote(parts.fragment)
    # Code generators leave links to the top of a page.
    if part and target.suffix in (".md", ".html") and part not in read(target)[1]:
        return "no such part"
    return ""


def main() -> int:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter
    )
    parser.add_argument("folder", type=Path)
    folder = parser.parse_args().folder.resolve()
    links = broken = 0
    for file in sorted([*folder.rglob("*.md"), *folder.rglob("*.html")]):
        if SKIPPED & set(file.relative_to(folder).parts):
            continue
        for link in read(file)[0]:
            links += 1
            fault = fault_of(link, file, folder)
            if fault:
                broken += 1
                print(f"{file.relative_to(folder)}: {link}: {fault}")
    print(f"{links} links, {broken} broken")
    return 0 if links > 0 and broken == 0 else 1


if __name__ == "__main__":
    sys.exit(main())

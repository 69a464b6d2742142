#!/usr/bin/env python3
"""Lays out the pages of the documentation site: the Markdown documents, the public headers, and every
other file or folder that a document links to.

    pages.py OUT

The pages lie in OUT as their files lie in the project, so that links hold. Links to files that are no
documents lead to a page that shows the file.
"""

from __future__ import annotations

import argparse
import re
import shutil
from pathlib import Path

from diagrams import drawn

ROOT = Path(__file__).resolve().parents[2]
SKIPPED = {"build", ".git", ".cache", "node_modules"}
PICTURES = {".png", ".jpg", ".svg"}
LANGUAGES = {
    ".c": "c", ".cpp": "cpp", ".h": "cpp", ".hpp": "cpp", ".py": "python", ".sh": "bash",
    ".json": "json", ".js": "js", ".html": "html", ".css": "css", ".txt": "text",
}  # fmt: skip

LINK = re.compile(r"(\]\()([^)\s#]+)(#[^)\s]*)?(\))")
FENCE = re.compile(r"^```.*?^```$", re.M | re.S)


def documents() -> list[Path]:
    """All Markdown files of the project, relative to its root."""
    found = (path.relative_to(ROOT) for path in ROOT.rglob("*.md"))
    return sorted(path for path in found if not SKIPPED & set(path.parts))


def headers() -> list[Path]:
    folder = ROOT / "include"
    return sorted(
        path.relative_to(ROOT) for path in folder.iterdir() if path.suffix in (".h", ".hpp")
    )


class Site:
    def __init__(self, out: Path) -> None:
        self.out = out
        self.files: set[Path] = set(headers())
        self.folders: set[Path] = set()

    def build(self) -> None:
        for document in documents():
            self.write(document, self.with_page_links(document))
        shutil.copyfile(ROOT / "docs/site/docs.css", self.out / "docs.css")
        for folder in sorted(self.folders):
            self.write(folder / "index.md", self.page_of_folder(folder))
        for file in sorted(self.files):
            text = page_of_header(file) if file in headers() else page_of_source(file)
            self.write(file.with_name(page_name(file)), text)

    def write(self, path: Path, text: str) -> None:
        target = self.out / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text, encoding="utf-8")

    def copy(self, path: Path) -> None:
        (self.out / path).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(ROOT / path, self.out / path)

    def with_page_links(self, document: Path) -> str:
        text = (ROOT / document).read_text(encoding="utf-8")
        # Code is not searched for links.
        pieces = re.split(f"({FENCE.pattern})", text, flags=FENCE.flags)
        for i in range(0, len(pieces), 2):
            pieces[i] = LINK.sub(lambda link: self.page_link(document, link), pieces[i])
            if i + 1 < len(pieces):
                pieces[i + 1] = with_diagram(pieces[i + 1])
        return "".join(pieces)

    def page_link(self, document: Path, link: re.Match[str]) -> str:
        before, target, anchor, after = link.groups()
        if re.match(r"[a-z]+:", target):
            return link[0]
        file = (ROOT / document.parent / target).resolve().relative_to(ROOT)
        if file.suffix == ".md":
            return link[0]
        if file.suffix in PICTURES:
            self.copy(file)
            return link[0]
        if (ROOT / file).is_dir():
            name = "README.md" if (ROOT / file / "README.md").exists() else "index.md"
            if name == "index.md":
                self.folders.add(file)
            return f"{before}{target.rstrip('/')}/{name}{anchor or ''}{after}"
        self.files.add(file)
        path = Path(target)
        return f"{before}{path.with_name(page_name(path))}{anchor or ''}{after}"

    def page_of_folder(self, folder: Path) -> str:
        lines = [f"# {folder}/\n"]
        for entry in sorted((ROOT / folder).iterdir(), key=lambda e: (e.is_file(), e.name)):
            path = entry.relative_to(ROOT)
            if entry.name in SKIPPED or entry.name == "__pycache__":
                continue
            if path in self.files:
                lines.append(f"- [{entry.name}]({page_name(path)})")
            elif path in self.folders:
                lines.append(f"- [{entry.name}/]({entry.name}/index.md)")
            else:
                lines.append(f"- {entry.name}{'/' if entry.is_dir() else ''}")
        return "\n".join(lines) + "\n"


def with_diagram(block: str) -> str:
    chart = re.fullmatch(r"```mermaid\n(.*)```", block, re.S)
    return f'<div class="diagram">{drawn(chart[1])}</div>' if chart else block


def page_name(file: Path) -> str:
    """The page of a file that is no document; names that begin with a dot are passed over by the site."""
    return file.name.lstrip(".") + ".md"


def page_of_source(file: Path) -> str:
    text = (ROOT / file).read_text(encoding="utf-8").rstrip("\n")
    return f"# {file}\n\n~~~~ {LANGUAGES.get(file.suffix, 'text')}\n{text}\n~~~~\n"


def page_of_header(file: Path) -> str:
    """A header, a section to each comment: what it says, and the declaration behind it."""
    lines = [f"# {file.name}\n"]
    text = (ROOT / file).read_text(encoding="utf-8")
    for comment, code in blocks_of(text):
        name = subject_of(code)
        if name:
            lines.append(f"## {name}\n")
            lines.append(f"~~~~ cpp\n{code}\n~~~~\n")
        if comment:
            lines.append(f"~~~~ text\n{comment}\n~~~~\n")
    lines += ["## The whole file\n", f"~~~~ cpp\n{text.rstrip()}\n~~~~\n"]
    return "\n".join(lines)


def blocks_of(text: str) -> list[tuple[str, str]]:
    """Comments that start a line, each with the code behind it up to a blank line."""
    found = []
    pattern = re.compile(
        r"^/\*(.*?)\*/\n((?:(?!\n\n).)*)|^((?://[^\n]*\n)+)((?:(?!\n\n).)*)", re.M | re.S
    )
    for match in pattern.finditer(text):
        if match[1] is not None:
            words = [re.sub(r"^ ?\* ?", "", line) for line in match[1].split("\n")]
            words[0] = words[0].lstrip()
            found.append(("\n".join(words).strip("\n ").removesuffix(" "), match[2].rstrip()))
        else:
            words = [re.sub(r"^// ?", "", line) for line in match[3].rstrip("\n").split("\n")]
            found.append(("\n".join(words), match[4].rstrip()))
    return found


def subject_of(code: str) -> str:
    """What a declaration declares; nothing for the guard of a header."""
    function = re.search(r"(\w+)\(", code)
    kind = re.search(r"\b(?:struct|class|enum)\s+(?:class\s+)?(\w+)", code)
    if code.startswith(("#ifndef", "#pragma")):
        return ""
    if kind and (not function or kind.start() < function.start()):
        return kind[1]
    if function:
        return function[1]
    constant = re.search(r"#define (\w+)", code)
    return constant[1] if constant else ""


def main() -> None:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter
    )
    parser.add_argument("out", type=Path, help="folder for the pages; what lies there is removed")
    out = parser.parse_args().out
    shutil.rmtree(out, ignore_errors=True)
    Site(out).build()


if __name__ == "__main__":
    main()

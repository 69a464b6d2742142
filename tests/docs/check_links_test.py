"""docs/site/check_links.py sees the links that lead nowhere, and only those."""

from __future__ import annotations

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(os.environ["ZOMU_TEST_PROJECT"]) / "docs/site/check_links.py"


class CheckLinksTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def check(self, **texts: str) -> tuple[int, list[str]]:
        for name, text in texts.items():
            (self.folder / name.replace("_", ".")).write_text(text)
        done = subprocess.run([sys.executable, "-B", CHECK, self.folder], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def test_good_links_of_markdown_and_none_at_all(self) -> None:
        text = "# Some `words`, here\n[a](b.md#it-is) [c](#some-words-here) [d](https://a.b/c#d) [e](./)\n"
        self.assertEqual(self.check(a_md=text, b_md="## It is\n"), (0, ["4 links, 0 broken"]))
        self.assertEqual(self.check(a_md="words\n", b_md=""), (1, ["0 links, 0 broken"]))

    def test_broken_links_of_markdown(self) -> None:
        text = "# One\n```\n# Two\n[no](link.md)\n```\n[a](b.md) [b](#two) [c](a.md#tree)\n"
        broken = ["a.md: b.md: no such file", "a.md: #two: no such part", "a.md: a.md#tree: no such part"]
        self.assertEqual(self.check(a_md=text), (1, [*broken, "3 links, 3 broken"]))

    def test_links_of_html(self) -> None:
        page = '<script data-fetched src="d.js"></script> <a href="b.html#x">b</a> <img src="c.png"> <a href="#y" id="z">y</a> <a href="#z">z</a>'
        broken = ["a.html: c.png: no such file", "a.html: #y: no such part"]
        self.assertEqual(self.check(a_html=page, b_html='<p id="x">'), (1, [*broken, "4 links, 2 broken"]))


if __name__ == "__main__":
    unittest.main()

"""The README can be followed from top to bottom in one clone, and its builds in any order.

Every block of commands runs as it stands, in a copy of what is tracked, with a home and a temporary
directory of its own. Left out are the run of all tests, and what changes the machine. The wheel's
installation asks PyPI for NumPy.
"""

from __future__ import annotations

import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from samples_test import FENCE, PROJECT, run_shell

LEFT_OUT = re.compile(r"^(scripts/test\.sh|sudo )")


class ReadmeWalk(unittest.TestCase):
    def setUp(self) -> None:
        self.work = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="zomu-walk-")))
        self.clone = self.work / "zomu"
        listed = subprocess.run(
            ["git", "ls-files", "-co", "--exclude-standard", "-z"],
            cwd=PROJECT, check=True, capture_output=True, text=True,
        ).stdout
        for name in filter(None, listed.split("\0")):
            if (PROJECT / name).exists():
                (self.clone / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(PROJECT / name, self.clone / name)
        self.readme = (PROJECT / "README.md").read_text()
        found = FENCE.finditer(self.readme)
        self.blocks = [(m[2], m[3]) for m in found if m[2] in ("sh", "c", "python")]
        (self.build,) = (code for _, code in self.blocks if "cmake --install" in code)

    def run_shell(self, code: str) -> str:
        code = "\n".join(line for line in code.splitlines() if not LEFT_OUT.match(line))
        (self.work / "tmp").mkdir(exist_ok=True)
        variables = {"HOME": str(self.work / "home"), "TMPDIR": str(self.work / "tmp"),
                     # The first block activates an environment, which later blocks rely on.
                     "PATH": f"{self.clone}/build/zomu/bin:/usr/sbin:/usr/bin:/sbin:/bin"}
        return run_shell(code, self.clone, timeout=3000, **variables)

    def test_from_top_to_bottom(self) -> None:
        ran = 0
        for language, code in self.blocks:
            if language == "c":
                (self.clone / "first.c").write_text(code)
            elif language == "python":
                (self.clone / "first.py").write_text(code)
                self.assertIn(f"It prints `{'` and `'.join(self.run_shell('python3 first.py').splitlines())}`",
                              self.readme)
            elif not all(LEFT_OUT.match(line) for line in code.splitlines()):
                printed = self.run_shell(code)
                if "zomu verify" in code:  # the last digits depend on the kernels that NumPy uses
                    self.assertIn("\nthe same person, if you trust this model: score 1.06", printed)
                ran += 1
        self.assertGreater(ran, 4)
        self.assertTrue((self.work / "home/libzomu/include/zomu.h").exists())
        # Once more, behind everything else.
        self.assertIn("portrait.png", self.run_shell("scripts/demo.sh"))

    def test_installed_first_and_shown_afterwards(self) -> None:
        self.run_shell(self.build)
        self.assertIn("portrait.png", self.run_shell("scripts/demo.sh"))
        shutil.rmtree(self.work / "home/libzomu")
        self.run_shell(self.build)
        self.assertTrue((self.work / "home/libzomu/include/zomu.h").exists())
        # A build with the tools serves, too.
        self.run_shell("cmake --preset release && cmake --build --preset release && " 'cmake --install build/release --prefix "$HOME/all"')
        self.assertTrue((self.work / "home/all/bin/zomu-template").exists())


if __name__ == "__main__":
    unittest.main()

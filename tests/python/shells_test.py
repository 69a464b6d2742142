"""The completions of `zomu` for zsh and fish, as these shells offer them."""

import os
import pty
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from command_support import help_tree
from support import PROJECT

PAGES = PROJECT / "python/pages"

READY = b"\x1b[?2004h"  # pasted text comes in brackets from here on: zsh waits for a line


class Zsh:
    """An interactive zsh on a terminal of its own."""

    def __init__(self, folder: Path) -> None:
        self._unread = b""
        self._process, self._terminal = pty.fork()
        if self._process == 0:
            os.chdir(folder)
            variables = {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": str(folder), "COLUMNS": "200", "LINES": "99"}
            os.execvpe("zsh", ["zsh", "-f", "-i"], variables)
        self._read_until(READY)
        self.typed(f"PS1=; LISTMAX=9999; fpath=({PAGES} $fpath); autoload -U compinit; compinit -D -u\r")

    def typed(self, keys: str) -> str:
        """What the terminal shows for these keys."""
        os.write(self._terminal, (keys + "\x15print END$((1 + 1))\r").encode())  # ^U empties the line
        return self._read_until(b"END2\r\n") + self._read_until(READY)

    def _read_until(self, end: bytes) -> str:
        deadline = time.monotonic() + 20
        while end not in self._unread:
            ready, _, _ = select.select([self._terminal], [], [], max(0.0, deadline - time.monotonic()))
            if not ready:
                raise TimeoutError(self._unread.decode(errors="replace"))
            self._unread += os.read(self._terminal, 65536)
        shown, _, self._unread = self._unread.partition(end)
        return shown.decode(errors="replace")

    def offered(self, line: str) -> str:
        return self.typed(f"{line}\t")

    def completed(self, line: str) -> str:
        """The line with what is added to it."""
        shown = self.typed(f"{line}\t\x01print -r -- '<\x05>'\r")  # ^A and ^E: its beginning and its end
        return re.findall(r"^<(.*)>\r?$", shown, re.MULTILINE)[-1].rstrip()

    def close(self) -> None:
        os.close(self._terminal)
        os.waitpid(self._process, 0)


class ShellsTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "garden.jpg").touch()

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh: scripts/install-dependencies.sh shells")
    def test_zsh_offers_every_subcommand_and_option_and_files(self) -> None:
        shell = Zsh(self.folder)
        self.addCleanup(shell.close)
        for command, below, options in help_tree():
            line = " ".join(("zomu", *command))
            shown = shell.offered(f"{line} -")
            for option in options:
                with self.subTest(line, option=option):
                    self.assertRegex(shown, rf"(?m)(^|\s){option}\s")
            if below:
                shown = shell.offered(f"{line} ")
                for name in below:
                    self.assertRegex(shown, rf"(?m)^{name}\s+-- ")
        for line, completed in (
            ("zomu ver", "zomu verify"),
            ("zomu model fing", "zomu model fingerprint"),
            ("zomu verify --thr", "zomu verify --threshold"),
            ("zomu verify gar", "zomu verify garden.jpg"),
            ("zomu extract garden.jpg out.zomu --landmarks gar", "zomu extract garden.jpg out.zomu --landmarks garden.jpg"),
        ):
            self.assertEqual(shell.completed(line), completed)

    @unittest.skipUnless(shutil.which("fish"), "there is no fish: scripts/install-dependencies.sh shells")
    def test_fish_offers_every_subcommand_and_option_and_files(self) -> None:
        tree = list(help_tree())
        lines = [" ".join(("zomu", *command)) for command, _, _ in tree]
        asked = [f"{line} {end}" for line in lines for end in ("--", "")] + ["zomu ver", "zomu verify gar", "zomu model ver"]
        script = f"source {PAGES}/zomu.fish\n" + "".join(f"echo '?{line}'\ncomplete -C '{line}'\n" for line in asked)
        done = subprocess.run(
            ["fish", "--no-config", "-c", script], capture_output=True, text=True, cwd=self.folder,
            env={"PATH": os.environ["PATH"], "HOME": str(self.folder)}, check=True,
        )
        self.assertEqual(done.stderr, "")
        answers = [part.partition("\n") for part in done.stdout.split("?")[1:]]
        offered = {line: [word.partition("\t")[0] for word in words.splitlines()] for line, _, words in answers}
        for line, (command, below, options) in zip(lines, tree):
            with self.subTest(line):
                self.assertEqual(set(offered[f"{line} --"]), options)
                if below:
                    self.assertEqual(set(offered[f"{line} "]), set(below))
                else:
                    self.assertEqual(offered[f"{line} "], ["garden.jpg"])
        self.assertEqual(offered["zomu ver"], ["verify"])
        self.assertEqual(offered["zomu verify gar"], ["garden.jpg"])


if __name__ == "__main__":
    unittest.main()

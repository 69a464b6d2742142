"""The man page and the completions of `zomu` are those of its parser, and name all of it."""

import importlib.util
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import zomu
from command_support import help_tree
from support import PROJECT, TOOLS, run

PAGES = PROJECT / "python/pages"
SPECIFICATION = importlib.util.spec_from_file_location("make_pages", PROJECT / "python/make_pages.py")
make_pages = importlib.util.module_from_spec(SPECIFICATION)
SPECIFICATION.loader.exec_module(make_pages)


def complete(*words: str) -> list[str]:
    """What bash would offer for the last of the words."""
    quoted = " ".join(f"'{word}'" for word in words)
    script = f"source {PAGES}/zomu.bash; COMP_WORDS=({quoted}); COMP_CWORD={len(words) - 1}; _zomu"
    script += "; echo ${COMPREPLY[@]}"
    return subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True).stdout.split()


class PagesTest(unittest.TestCase):
    def test_the_files_are_those_that_the_script_writes(self) -> None:
        for name, content in make_pages.pages().items():
            self.assertEqual((PAGES / name).read_text(), content, "run PYTHONPATH=python python/make_pages.py")

    def test_every_subcommand_and_option_is_named(self) -> None:
        commands = [(command, options) for command, _, options in help_tree()]
        self.assertEqual(len(commands), 1 + 10 + 5 + 4)
        manual = (PAGES / "zomu.1").read_text().replace("\\-", "-")
        zsh, fish = (PAGES / "_zomu").read_text(), (PAGES / "zomu.fish").read_text()
        for command, options in commands:
            self.assertIn("--help", options)
            title = f".SH ZOMU {' '.join(command).upper()}".rstrip()
            section = manual.partition(f"{title}\n")[2].partition("\n.SH ")[0]
            function = zsh.partition("_".join(("\n_zomu", *command)) + "() {")[2].partition("\n}")[0]
            for option in options:
                with self.subTest(command, option=option):
                    self.assertIn(option, section if command else manual)
                    self.assertIn(option + "[", function)
                    self.assertIn(option, complete("zomu", *command, option))
                    seen = "; and ".join(f"__fish_seen_subcommand_from {name}" for name in command)
                    self.assertRegex(fish, f"-n '({seen}|.*__fish_use_subcommand).*-l {option[2:]} ")
            if command:
                self.assertIn(command[-1], complete("zomu", *command[:-1], command[-1][:2]))
                self.assertIn(f"-a {command[-1]} ", fish)
                self.assertIn(f"{command[-1]})", zsh)

    def test_they_are_installed_with_the_command(self) -> None:
        root = Path(self.enterContext(tempfile.TemporaryDirectory()))
        run("cmake", "--install", TOOLS.parent, "--prefix", root, "--component", "python").check_returncode()
        places = {
            "zomu.1": "share/man/man1/zomu.1",
            "zomu.bash": "share/bash-completion/completions/zomu",
            "_zomu": "share/zsh/vendor-completions/_zomu",
            "zomu.fish": "share/fish/vendor_completions.d/zomu.fish",
        }
        for name, place in places.items():
            self.assertEqual((root / place).read_text(), (PAGES / name).read_text())
        done = run(root / "bin/zomu", "--version", PYTHONPATH=str(root / "lib/python3/dist-packages"))
        self.assertEqual((done.stdout, done.stderr), (f"zomu {zomu.__version__}\n", ""))

    def test_files_are_left_to_the_shell(self) -> None:
        self.assertEqual(complete("zomu", "verify", "a"), [])
        self.assertEqual(complete("zomu", "model", "check", "a"), [])
        self.assertEqual(complete("zomu", "v"), ["verify"])

    @unittest.skipUnless(shutil.which("man"), "there is no man")
    def test_the_man_page_is_one(self) -> None:
        done = subprocess.run(["man", "--warnings", "-l", PAGES / "zomu.1"], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        self.assertIn("zomu verify", done.stdout)


if __name__ == "__main__":
    unittest.main()

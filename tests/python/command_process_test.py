"""The command as a process: how it starts, what it needs, how it ends."""

import json
import os
import pty
import re
import shutil
import signal
import subprocess
import sys
import unittest

import zomu
from command_support import ANN, BOB, PEOPLE, CommandTest
from support import MODEL, PROJECT, TEMPORARY, run, run_python

NOT_A_MODEL = "there is no model in {}/~zvplugintmp~: `zomu model install` puts the demonstration model there"


def zomu_process(*words: object, **variables: str) -> subprocess.CompletedProcess[str]:
    """In a process of its own, with the model of the other tests unless `variables` say otherwise."""
    return run(sys.executable, "-B", "-m", "zomu", *words, **variables)


class CommandProcessTest(CommandTest):
    def test_version_and_help(self) -> None:
        done = zomu_process("--version")
        self.assertEqual((done.returncode, done.stdout), (0, f"zomu {zomu.__version__}\n"))
        self.assertIn("verify", zomu_process("--help").stdout)

    def test_without_a_model_it_says_how_to_get_one(self) -> None:
        expected = NOT_A_MODEL.format(self.folder)
        uses = {"verify": 2, "search": 1, "extract": 1}
        for name, status in uses.items():
            done = zomu_process(name, ANN, PEOPLE if name == "search" else ANN, TMPDIR=str(self.folder))
            self.assertEqual((done.returncode, done.stdout, done.stderr), (status, "", f"zomu {name}: {expected}\n"))
        done = zomu_process("verify", ANN, BOB, "--json", TMPDIR=str(self.folder))
        self.assertEqual((done.returncode, json.loads(done.stdout)), (2, {"error": expected}))

    def test_without_the_library_or_the_data_of_the_finder_it_says_what_is_missing(self) -> None:
        copy = self.folder / "copy"
        left_out = shutil.ignore_patterns("*.tflite", "__pycache__")
        shutil.copytree(PROJECT / "python/zomu", copy / "zomu", ignore=left_out)
        uses = [
            ({"ZOMU_LIBRARY": "/missing/libZOMU.so"}, "the library cannot be loaded", ["verify", ANN, BOB], 2),
            ({"PYTHONPATH": str(copy)}, "install the package zomu again", ["find", ANN], 1),
            ({"PYTHONPATH": str(copy)}, "install the package zomu again", ["verify", ANN, BOB], 2),
        ]
        for variables, words, arguments, status in uses:
            done = zomu_process(*arguments, TMPDIR=str(self.directory), **variables)
            self.assertEqual((done.returncode, done.stdout), (status, ""), done.stderr)
            self.assert_one_line(done.stderr)
            self.assertIn(words, done.stderr)

    def test_of_an_unknown_model_it_asks_for_a_threshold(self) -> None:
        for words, status in ((["verify", ANN, BOB], 2), (["cluster", PEOPLE / "90000"], 1)):
            done = zomu_process(*words)
            self.assertEqual((done.returncode, done.stdout), (status, ""))
            self.assertIn("no threshold is known for the model ", done.stderr)
            self.assertIn(zomu_process(*words, "--threshold", "9").returncode, (0, 1))
        done = zomu_process("search", ANN, PEOPLE / "90000", "--model", MODEL, TMPDIR=str(self.directory))
        self.assertEqual(done.returncode, 0)
        self.assertIn("No threshold is known for this model", done.stdout)

    def test_templates_of_two_models_are_never_the_same(self) -> None:
        ours, foreign = self.folder / "ours.zomu", self.folder / "foreign.zomu"
        for path, model in ((ours, self.directory), (foreign, TEMPORARY)):
            self.assertEqual(zomu_process("extract", ANN, path, TMPDIR=str(model)).returncode, 0)
        for other in (foreign, ANN):
            first = foreign if other is ANN else ours
            done = zomu_process("verify", first, other, TMPDIR=str(self.directory))
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertRegex(done.stderr, "made with (two models|another model)")
        # Those of one model are compared without it, and nothing else is on standard output.
        done = zomu_process("verify", ours, ours, "--json", TMPDIR=str(self.folder))
        self.assertEqual((done.returncode, json.loads(done.stdout)["same"]), (0, True))

    def test_only_drawing_needs_pillow_to_draw(self) -> None:
        code = "import sys\nsys.modules['PIL.ImageDraw'] = None\nfrom zomu.command import main\nsys.exit(main({}))"
        output = self.folder / "out.png"
        done = run_python(code.format(["draw", str(ANN), str(output)]))
        self.assertEqual((done.returncode, done.stdout, output.exists()), (1, "", False))
        self.assertIn("zomu draw: drawing needs Pillow: install zomu[draw], Pillow or Debian's python3-pil\n", done.stderr)
        self.assertEqual(run_python(code.format(["find", str(ANN)])).returncode, 0)

    def test_packages_beside_this_one_say_what_they_need(self) -> None:
        code = "import sys\nsys.modules['{}'] = None\nfrom zomu.command import main\nsys.exit(main({}))"
        for missing in ("zomu_bulk", "distributed"):
            done = run_python(code.format(missing, ["extract-all", str(PEOPLE), str(self.folder / "out")]))
            line = f"zomu extract-all: the package {missing} is not installed: install zomu[bulk] with pip, which brings it\n"
            self.assertEqual((done.returncode, done.stdout, done.stderr), (1, "", line))
            self.assertEqual(run_python(code.format(missing, ["find", str(ANN)])).returncode, 0)

    def test_what_no_picture_can_help_ends_the_work_at_once(self) -> None:
        (self.folder / "idle_finder.py").write_text("def find(picture):\n    return ['a face']\n")
        variables = {"PYTHONPATH": f"{PROJECT / 'python'}:{self.folder}", "TMPDIR": str(self.directory)}
        manifest = ["manifest", PEOPLE, self.folder / "out"]
        uses = (["find", ANN, BOB], ["search", BOB, PEOPLE], ["cluster", PEOPLE], manifest)
        for words in uses:
            done = zomu_process(*words, "--finder", "idle_finder:find", **variables)
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assert_one_line(done.stderr)
            self.assertIn("gives a str where zomu.finders.Face is expected", done.stderr)

    def test_whoever_is_stopped_leaves_nothing(self) -> None:
        code = "import time\ndef find(picture):\n    print('looking', flush=True)\n    time.sleep(60)\n"
        (self.folder / "slow_finder.py").write_text(code)
        temporary = self.folder / "temporary"
        temporary.mkdir()
        path = f"{PROJECT / 'python'}:{self.folder}"
        words = [sys.executable, "-B", "-m", "zomu", "verify", ANN, BOB, "--model", MODEL, "--threshold", "1"]
        for number in (signal.SIGTERM, signal.SIGINT):
            started = subprocess.Popen(
                [*words, "--finder", "slow_finder:find"],
                env={**os.environ, "PYTHONPATH": path, "TMPDIR": str(temporary)},
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
            )
            with started:
                self.assertEqual(started.stdout.readline(), b"looking\n")
                self.assertEqual(len(os.listdir(temporary)), 1)
                started.send_signal(number)
                self.assertEqual(started.wait(timeout=30), 128 + number)
            self.assertEqual(os.listdir(temporary), [])

    def test_a_finder_that_fails_is_not_a_difference(self) -> None:
        (self.folder / "broken_finder.py").write_text("def find(picture):\n    raise RuntimeError('no')\n")
        variables = {"PYTHONPATH": f"{PROJECT / 'python'}:{self.folder}", "TMPDIR": str(self.directory)}
        done = zomu_process("verify", ANN, BOB, "--finder", "broken_finder:find", **variables)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("RuntimeError: no", done.stderr)

    def test_the_commands_of_the_page_do_what_it_says(self) -> None:
        page = (PROJECT / "python/README.md").read_text().partition("## The command\n")[2]
        block = re.search("```sh\n(.*?)```", page, re.DOTALL)[1]
        (self.folder / "build").mkdir()
        (self.folder / "examples").symlink_to(PROJECT / "examples")
        command = f'zomu() {{ {sys.executable} -B -m zomu "$@"; }}'
        done = run("bash", "-euc", f"cd {self.folder}\n{command}\n{block}", TMPDIR=str(self.folder))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("the same person, if you trust this model: score ", done.stdout)
        self.assertEqual(done.stdout.count(" * examples/data/people/photos/90000/"), 4)
        self.assertTrue((self.folder / "build/points.png").is_file())

    def test_every_subcommand_has_a_row_in_the_page(self) -> None:
        rows = re.findall(r"^\| `([a-z-]+) ", (PROJECT / "python/README.md").read_text(), re.MULTILINE)
        listed = re.findall(r"^    ([a-z-]+)\s", zomu_process("--help").stdout, re.MULTILINE)
        self.assertEqual(rows, listed)

    def test_progress_is_for_terminals(self) -> None:
        leader, follower = pty.openpty()
        words = [sys.executable, "-B", "-m", "zomu", "find", str(ANN), str(BOB)]
        done = subprocess.run(words, stdout=subprocess.PIPE, stderr=follower, timeout=60, check=True)
        os.close(follower)
        seen = os.read(leader, 1 << 16).decode()
        os.close(leader)
        self.assertIn("pictures: 1 of 2", seen)
        self.assertTrue(seen.endswith("\r\x1b[K"))
        self.assertNotIn(b"\x1b", done.stdout)
        self.assertEqual(zomu_process("find", ANN, BOB).stderr, "")

    def test_whoever_reads_may_leave(self) -> None:
        command = f"{sys.executable} -B -m zomu model list | head -n 1; echo ${{PIPESTATUS[0]}}"
        done = run("bash", "-c", command)
        self.assertEqual(done.stderr, "")
        self.assertIn(done.stdout.splitlines()[-1], ("0", str(128 + signal.SIGPIPE)))


if __name__ == "__main__":
    unittest.main()

"""`zomu model` does what `zomu-model` does: the same words, the same bytes."""

import json
import os
import sys
import unittest

import numpy as np

import zomu
from command_support import CommandTest, zomu_command
from support import LANDMARKS, MODEL, TOOLS, linked_model, run
from zomu import model_check, model_folder, model_pack
from zomu.thresholds import DEMONSTRATION_MODEL

TOOL = TOOLS / "zomu-model"
PACK = model_pack.demonstration_pack()


class CommandModelTest(CommandTest):
    def test_a_packed_model_becomes_the_folder_that_the_tool_writes(self) -> None:
        ours, theirs = self.folder / "ours", self.folder / "theirs"
        said = zomu_command("model", "install", PACK, "--folder", ours)
        done = run(TOOL, "unpack", PACK, theirs)
        self.assertEqual((said.status, said.err), (0, ""))
        self.assertEqual(said.out.replace("ours", "theirs"), done.stdout)
        names = sorted(os.listdir(theirs))
        self.assertEqual(sorted(os.listdir(ours)), names)
        for name in names:
            self.assertEqual((ours / name).read_bytes(), (theirs / name).read_bytes(), name)
        self.assertEqual(sorted(os.listdir(self.folder)), ["ours", "theirs"])

    def test_it_is_installed_where_the_library_looks(self) -> None:
        before = os.environ["TMPDIR"]
        self.addCleanup(os.environ.__setitem__, "TMPDIR", before)
        os.environ["TMPDIR"] = str(self.folder)
        self.assertEqual(zomu_command("model", "where").status, 1)
        said = zomu_command("model", "install")
        self.assertEqual((said.status, said.err), (0, ""))
        self.assertIn("cannot identify real people", said.out)
        folder = self.folder / "~zvplugintmp~"
        self.assertEqual(zomu_command("model", "fingerprint").out, f"{DEMONSTRATION_MODEL}\n")
        self.assertEqual(zomu_command("model", "check").out, f"{folder}: all 303 files are good\n")
        self.assertIn(f"{folder}\n{DEMONSTRATION_MODEL}: the demonstration model", zomu_command("model", "where").out)
        done = json.loads(zomu_command("model", "where", "--json").out)
        self.assertEqual(done, {
            "folder": str(folder), "fingerprint": DEMONSTRATION_MODEL, "is_demonstration_model": True
        })

    @unittest.skipUnless(os.geteuid() == 0, "only root can give a folder to another user")
    def test_a_model_that_another_user_put_where_everybody_can_is_refused(self) -> None:
        everybodys = self.folder / "everybodys"
        everybodys.mkdir()
        everybodys.chmod(0o1777)
        model = linked_model(everybodys / "~zvplugintmp~")
        os.chown(model, 65534, 65534)
        place = f"{model} belongs to another user, and everybody can write to {everybodys}; "
        picture, out = LANDMARKS.with_suffix(".png"), self.folder / "out.zomu"
        extract = ["extract", picture, out, "--landmarks", LANDMARKS]
        python = [sys.executable, "-B", "-m", "zomu"]
        commands = [[*python, "model", name] for name in ("where", "check", "fingerprint", "install")]
        commands += [[*python, *extract], [TOOL, "install", "--force"]]
        commands.append([TOOLS / "zomu-template", "extract", picture, LANDMARKS, out])
        for command in commands:
            done = run(*command, TMPDIR=str(everybodys))
            with self.subTest(command):
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assert_one_line(done.stderr)
                self.assertTrue(done.stderr.partition(": ")[2].startswith(place), done.stderr)
                self.assertTrue(done.stderr.endswith("set TMPDIR to a folder of your own and install one there\n"))
        self.assertEqual(len({run(*c, TMPDIR=str(everybodys)).stderr.partition(": ")[2] for c in commands[3:6]}), 1)

        done = run(*python, *extract, "--model", model, TMPDIR=str(everybodys))
        self.assertEqual((done.returncode, done.stderr), (0, ""), "who names a folder has chosen it")
        for owner, mode in ((0, 0o1777), (65534, 0o755)):
            os.chown(model, owner, owner)
            everybodys.chmod(mode)
            for command in (commands[0], commands[4], commands[6]):
                done = run(*command, TMPDIR=str(everybodys))
                self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_only_a_model_is_replaced_and_only_when_asked(self) -> None:
        target = self.folder / "model"
        target.mkdir()
        self.assertEqual(zomu_command("model", "install", "--folder", target).status, 0)
        (target / "6-0").write_bytes(b"damaged")
        said = zomu_command("model", "install", "--folder", target)
        expected = f"zomu model install: {target} is not empty; --force replaces a model\n"
        self.assertEqual((said.status, said.err), (1, expected))
        self.assertEqual((target / "6-0").read_bytes(), b"damaged")
        self.assertEqual(zomu_command("model", "install", "--folder", target, "--force").status, 0)
        self.assertEqual(zomu.model_fingerprint(target), DEMONSTRATION_MODEL)
        (target / "letter.txt").write_text("dear")
        said = zomu_command("model", "install", "--folder", target, "--force")
        self.assertIn("holds letter.txt, which is not a model file: it is not replaced", said.err)
        self.assertEqual((target / "letter.txt").read_text(), "dear")
        file = self.folder / "file"
        file.write_text("a file")
        self.assertIn("is not a folder", zomu_command("model", "install", "--folder", file, "--force").err)
        self.assertEqual(sorted(os.listdir(self.folder)), ["file", "model"])

    def test_a_damaged_pack_is_refused_in_the_words_of_the_tool(self) -> None:
        good = PACK.read_bytes()
        cases = {
            "empty": b"",
            "text": b"not a pack",
            "mark": good[:5],
            "head": good[:15],
            "version": good[:8] + b"\2" + good[9:],
            "cut": good[:-100],
            "long": good + b"more",
            "altered": good[:5000] + bytes([good[5000] ^ 1]) + good[5001:],
        }
        path = self.folder / "a.pack"
        for name, content in cases.items():
            path.write_bytes(content)
            said = zomu_command("model", "install", path, "--folder", self.folder / "model")
            done = run(TOOL, "unpack", path, self.folder / "model")
            with self.subTest(name):
                self.assertEqual((said.status, done.returncode), (1, 1))
                problem = done.stderr.removeprefix("zomu-model: ")
                self.assertEqual(said.err.removeprefix("zomu model install: "), problem)
                self.assertEqual(os.listdir(self.folder), ["a.pack"])

    def test_files_are_listed_and_named_as_by_the_tool(self) -> None:
        self.assertEqual(zomu_command("model", "list").out, run(TOOL, "list").stdout)
        self.assertEqual(zomu_command("model", "fingerprint", MODEL).out, run(TOOL, "fingerprint", MODEL).stdout)
        listed = [(file.name, file.size) for file in model_check.described_files()]
        self.assertEqual(listed, model_folder.model_files())
        for file in model_check.described_files():
            self.assertEqual(file.size, 4 * (len(file.header) + file.floats))

    def test_faults_are_reported_in_the_words_of_the_tool(self) -> None:
        folder = linked_model(self.folder / "model")
        damages = {
            "0-7-0": None,
            "6-0": lambda content: content + b"four",
            "6-1": lambda content: content[:8000],
            "1-3-1": lambda content: content[:-80],
            "2-3-1": lambda content: content[:5],
            "1-4-1": lambda content: content[:28] + np.float32("nan").tobytes() + content[32:],
            "2-4-1": lambda content: content[:-8] + np.float32(["inf", "-inf"]).tobytes(),
            "0-8-0": lambda content: b"\1" + content[1:],
            "5-25-3": lambda content: content[4:8] + content[:4] + content[8:],
            "1-5-1": lambda content: b"version 1\noid 2\n",
            "1-6-1": lambda content: b"<html>not here</html>\n",
            "1-7-1": lambda content: b"",
        }
        for name, damage in damages.items():
            content = (folder / name).read_bytes()
            (folder / name).unlink()
            if damage is not None:
                (folder / name).write_bytes(damage(content))
        (folder / "1-8-1").unlink()
        (folder / "1-8-1").mkdir()
        said, done = zomu_command("model", "check", folder), run(TOOL, "check", folder)
        self.assertEqual((said.status, said.out), (done.returncode, done.stdout))
        self.assertEqual(said.out.count("\n"), 13)
        self.assertEqual(said.err, f"zomu model check: {folder}: 13 of 303 files are wrong\n")
        faults = json.loads(zomu_command("model", "check", folder, "--json").out)["faults"]
        self.assertEqual(faults, done.stdout.splitlines())
        self.assertIn("no such folder", zomu_command("model", "check", self.folder / "missing").err)


if __name__ == "__main__":
    unittest.main()

"""The commands and the Python code of the documents do what the documents say.

Blocks of one document run one after another in a scratch copy of the project, made of links. Commands
that build or test the whole project are looked at only: what they name has to be there. C code is
compiled by the CMake code beside this file.
"""

from __future__ import annotations

import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from PIL import Image, ImageChops

PROJECT = Path(os.environ["ZOMU_TEST_PROJECT"])
BUILD = Path(os.environ["ZOMU_TEST_BUILD"])
MODEL = Path(os.environ["ZOMU_TEST_MODEL"])
VERSION = os.environ["ZOMU_TEST_VERSION"]

# Blocks with one of these build the project, test it, or want the wheel or a machine of another kind.
WHOLE_BUILD = re.compile(r"^\s*(scripts/|cmake |ctest |build/(dev|fuzz)/|tests/fuzz/|sudo |zomu )", re.M)
COMPILED_BY_CMAKE = {"README.md", "docs/landmarks.md"}
# A network, which the tests of the layers' document build and run; diagrams; what programs print.
NO_PROGRAMS = {"", "text", "ini", "mermaid"}

FENCE = re.compile(r"^( *)```(\w*)\n(.*?)^\1```$", re.M | re.S)


def documents() -> list[Path]:
    found = (path.relative_to(PROJECT) for path in PROJECT.rglob("*.md"))
    return sorted(path for path in found if not {"build", ".git"} & set(path.parts))


def blocks(document: Path, language: str) -> list[str]:
    text = (PROJECT / document).read_text()
    return [re.sub(f"^{m[1]}", "", m[3], flags=re.M) for m in FENCE.finditer(text) if m[2] == language]


def run_shell(code: str, folder: Path, timeout: int = 120, **variables: str) -> str:
    """What the commands print, which must succeed; nothing here tells them where the tests' things are."""
    kept = {key: value for key, value in os.environ.items() if not key.startswith("ZOMU_")}
    done = subprocess.run(
        ["bash", "-euo", "pipefail", "-c", code],
        cwd=folder, env={**kept, **variables}, capture_output=True, text=True, timeout=timeout,
    )
    assert done.returncode == 0, f"{code}\n{done.stdout}{done.stderr}"
    return done.stdout


class ScratchCopy(unittest.TestCase):
    def setUp(self) -> None:
        self.root = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="zomu-samples-")))
        for entry in PROJECT.iterdir():
            if entry.name not in ("build", ".git", "python", "training"):
                (self.root / entry.name).symlink_to(entry)
        # Building a wheel writes beside the sources; the training kit looks for tools from where it lies.
        for folder in ("python", "training"):
            shutil.copytree(PROJECT / folder, self.root / folder)
        demo = self.root / "build/demo"
        demo.mkdir(parents=True)
        (demo / "tmp").symlink_to(MODEL)
        for folder in (demo / "build", self.root / "build/release"):
            folder.symlink_to(BUILD)

    def run_shell(self, code: str) -> str:
        return run_shell(code, self.root, PATH="/usr/bin:/bin", PYTHONPATH="", HOME=str(self.root))

    def run_document(self, name: str) -> list[str]:
        """What each block of commands printed that is no whole build."""
        printed = [self.run_shell(b) for b in blocks(Path(name), "sh") if not WHOLE_BUILD.search(b)]
        self.assertTrue(printed)
        return printed

    def run_python(self, arguments: str, package: str = "python", temporary: str = "build/demo/tmp") -> str:
        variables = f"PYTHONPATH={package} ZOMU_LIBRARY=build/demo/build/src/libZOMU.so TMPDIR=$PWD/{temporary}"
        return self.run_shell(f"{variables} /usr/bin/python3 -B {arguments}")

    def run_python_block(self, document: str, **where: str) -> str:
        (code,) = blocks(Path(document), "python")
        (self.root / "sample.py").write_text(code)
        return self.run_python("sample.py", **where)


class SamplesTest(ScratchCopy):
    def demonstration_model(self) -> str:
        (self.root / "trained").mkdir()
        self.run_python("-m zomu model install", temporary="trained")
        return "trained"

    def test_the_first_picture_shows_what_the_library_says_now(self) -> None:
        self.run_python("docs/images/draw_verify.py now.png", temporary=self.demonstration_model())
        paths = PROJECT / "docs/images/verify.png", self.root / "now.png"
        stored, drawn = (Image.open(path).convert("L") for path in paths)
        self.assertEqual(stored.size, drawn.size)
        # Found landmarks may differ in their last digits, and with them the rims of their dots.
        different = sum(ImageChops.difference(stored, drawn).histogram()[32:])
        self.assertLess(different, 100)

    def test_commands_of_the_readme(self) -> None:
        (code,) = blocks(Path("README.md"), "c")
        (self.root / "first.c").write_text(code)
        (build,) = (block for block in blocks(Path("README.md"), "sh") if block.startswith("cc "))
        c_score = self.run_shell(build)
        self.assertRegex(c_score, r"^score -?\d+\.\d{4}\n$")

        self.assertEqual(self.run_document("README.md")[-1].splitlines()[-1], "1")

        self.assertEqual(self.run_python_block("python/README.md"), c_score)
        # This one says what it prints with the demonstration model.
        printed = self.run_python_block("README.md", temporary=self.demonstration_model())
        (promised,) = re.findall(r"^It prints `([^`]+)` and `([^`]+)`", (PROJECT / "README.md").read_text(), re.M)
        self.assertEqual(tuple(printed.splitlines()), promised)

    def test_commands_of_the_landmark_page(self) -> None:
        for kind in ("png", "csv"):
            shutil.copyfile(PROJECT / f"examples/data/portrait.{kind}", self.root / f"photo.{kind}")
        self.run_document("docs/landmarks.md")
        self.assertTrue((self.root / "sheets/patches.png").exists())

    def test_commands_of_the_model_page(self) -> None:
        made, fingerprint, by_hand, compared, packed = self.run_document("docs/model-files.md")
        console = blocks(Path("docs/model-files.md"), "")[2]
        expected = [line for line in console.splitlines() if line in made.splitlines()]
        self.assertEqual(len(expected), 2, made)
        self.assertEqual(fingerprint.split(), by_hand.split()[:1])
        self.assertEqual(compared, "1\n")
        self.assertEqual(packed.splitlines()[1], "build/unpacked: 303 files, 58271424 bytes")

    def test_commands_of_the_page_of_the_demonstration_model(self) -> None:
        (printed,) = self.run_document("models/README.md")
        self.assertEqual(printed, "build/trained/~zvplugintmp~: 303 files, 58271424 bytes\n")

    def test_commands_of_the_training_page(self) -> None:
        self.run_shell("training/render_people people --people 24 --photos 3")
        header, *rows = (self.root / "people/manifest.csv").read_text().splitlines()
        lines = [header] + [row.replace("photos/", "people/photos/") for row in rows]
        for name in ("manifest.csv", "other-people.csv"):
            (self.root / name).write_text("\n".join(lines) + "\n")
        printed, fitted = self.run_document("training/README.md")
        self.assertIn("\nmodel: complete and checked\n", printed)
        self.assertIn("\nsame pairs: 72\n", printed)
        self.assertIn("\nfitted-model: complete and checked", fitted)
        self.assertTrue((self.root / "rates/det.png").exists())


class WheelTest(ScratchCopy):
    def test_commands_of_the_python_page(self) -> None:
        block, *_ = blocks(Path("python/README.md"), "sh")  # the others are those of tests/python
        install = block.splitlines()[1]
        self.assertTrue(install.startswith("pip install "))
        offline = "--no-index --no-build-isolation --quiet --disable-pip-version-check"
        # As it stands but for the network, and into a folder of its own.
        block = block.replace("pip wheel", f"pip wheel {offline}")
        block = block.replace("pip install", "pip install --no-index --no-deps --quiet --target here")
        self.run_shell(f"export PIP_ROOT_USER_ACTION=ignore\n{block}")
        (wheel,) = (self.root / "build").glob("*.whl")
        self.assertEqual(wheel.name, f"zomu-{VERSION}-py3-none-any.whl")
        modules = {path.name for path in (PROJECT / "python/zomu").glob("*.py")}
        self.assertLessEqual(modules | {"py.typed"}, {path.name for path in (self.root / "here/zomu").iterdir()})
        printed = self.run_shell("PYTHONPATH=here /usr/bin/python3 -c 'import zomu; print(zomu.__version__)'")
        self.assertEqual(printed, f"{VERSION}\n")
        self.assertRegex(self.run_python_block("python/README.md", package="here"), r"^score -?\d+\.\d{4}\n$")


class NamesTest(unittest.TestCase):
    """What can be said of the commands without running them."""

    def test_commands_that_build_name_what_is_there(self) -> None:
        presets = json.loads((PROJECT / "CMakePresets.json").read_text())["configurePresets"]
        names = {preset["name"] for preset in presets}
        looked_at = 0
        for document in documents():
            for block in blocks(document, "sh"):
                for script in re.findall(r"(?<![\w/])scripts/[\w-]+\.\w+", block):
                    self.assertTrue(os.access(PROJECT / script, os.X_OK), f"{document}: {script}")
                    looked_at += 1
                for preset in re.findall(r"--preset (\w[\w-]*)", block):
                    self.assertIn(preset, names, document)
                    looked_at += 1
                done = subprocess.run(["bash", "-n"], input=block, capture_output=True, text=True)
                self.assertEqual(done.returncode, 0, f"{document}: {done.stderr}")
        self.assertGreater(looked_at, 10)

    def test_verbs_and_groups_are_there_in_prose_too(self) -> None:
        verbs = {path.stem for path in (PROJECT / "scripts/check").glob("*.sh")}
        looked_at = 0
        for document in documents():
            text = (PROJECT / document).read_text()
            for verb in re.findall(r"scripts/check\.sh ([a-z0-9]+)", text):
                with self.subTest(f"{document}: {verb}"):
                    self.assertIn(verb, verbs)
                looked_at += 1
            for script in re.findall(r"(?<![\w/.-])scripts/[\w/-]+\.(?:sh|py)", text):
                with self.subTest(f"{document}: {script}"):
                    self.assertTrue((PROJECT / script).exists())
                looked_at += 1
        self.assertGreater(looked_at, 20)

    def test_no_code_is_left_out(self) -> None:
        commands = {"README.md", "docs/landmarks.md", "docs/model-files.md", "docs/gallery.md", "examples/data/people/README.md",
                    "models/README.md", "python/README.md", "training/README.md", "docs/images/README.md"}
        for document in documents():
            name = str(document)
            languages = {m[2] for m in FENCE.finditer((PROJECT / document).read_text())}
            for language in languages - NO_PROGRAMS:
                with self.subTest(f"{name}: {language}"):
                    if language == "c":
                        self.assertIn(name, COMPILED_BY_CMAKE)
                        self.assertEqual(len(blocks(document, "c")), 1)
                    elif language == "python":
                        self.assertIn(name, {"README.md", "python/README.md"})
                        self.assertEqual(len(blocks(document, "python")), 1)
                    elif language == "sh":
                        whole = all(WHOLE_BUILD.search(block) for block in blocks(document, "sh"))
                        self.assertTrue(whole or name in commands)
                    elif language == "cmake":
                        (code,) = blocks(Path("README.md"), "cmake")
                        project = (PROJECT / "tests/install/use/CMakeLists.txt").read_text()
                        self.assertLessEqual(set(code.splitlines()), set(project.splitlines()))
                    else:
                        self.assertIn((name, language), {("CONTRIBUTING.md", "yaml")})


if __name__ == "__main__":
    unittest.main()

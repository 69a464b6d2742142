"""The wheel: built from a copy of the folder, installed on its own, used from there."""

import os
import shutil
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

from support import LANDMARKS, MODEL, PICTURE, PROJECT, run

USE = f"""
import sys
sys.path.insert(0, sys.argv[1])
import cv2, zomu
assert zomu.__file__.startswith(sys.argv[1]), zomu.__file__
with zomu.Context({str(MODEL)!r}) as context:
    template = context.extract(cv2.imread({str(PICTURE)!r}), {str(LANDMARKS)!r})
print(zomu.__version__, template.shape)
"""


class WheelTest(unittest.TestCase):
    def test_a_wheel_is_pure_typed_and_works_where_it_is_installed(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        shutil.copytree(
            PROJECT / "python", folder / "source", ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info")
        )
        pip = [sys.executable, "-m", "pip", "--quiet", "--disable-pip-version-check"]
        quiet = {"PIP_ROOT_USER_ACTION": "ignore", "PYTHONPATH": ""}
        build = ["wheel", "--no-index", "--no-deps", "--no-build-isolation", "--wheel-dir", folder]
        done = run(*pip, *build, folder / "source", **quiet)
        self.assertEqual(done.returncode, 0, done.stderr)

        version = os.environ["ZOMU_TEST_VERSION"]
        (wheel,) = folder.glob("*.whl")
        self.assertEqual(wheel.name, f"zomu-{version}-py3-none-any.whl")
        names = set(zipfile.ZipFile(wheel).namelist())
        modules = {f"zomu/{path.name}" for path in (PROJECT / "python/zomu").glob("*.py")}
        self.assertLessEqual(modules | {"zomu/py.typed"}, names)

        target = folder / "installed"
        install = ["install", "--no-index", "--no-deps", "--target", target]
        done = run(*pip, *install, wheel, **quiet)
        self.assertEqual(done.returncode, 0, done.stderr)
        done = run(sys.executable, "-I", "-c", USE, target)
        self.assertEqual((done.stdout, done.stderr), (f"{version} (502,)\n", ""))

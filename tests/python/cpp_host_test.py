"""A template that a host in C++ has saved through zomu.hpp."""

import tempfile
import unittest
from pathlib import Path

import zomu
from support import LANDMARKS, MODEL, PICTURE, TEMPLATE_HOST, TOOLS, run


class CppHostTest(unittest.TestCase):
    def test_its_files_are_those_of_the_package_and_the_tool(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        path, copy, tools = (folder / name for name in ("host.zomu", "copy.zomu", "tool.zomu"))
        done = run(TEMPLATE_HOST, PICTURE, LANDMARKS, path)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        with zomu.Context(MODEL):
            template = zomu.load_template(path)
            self.assertEqual(zomu.template_fingerprint(path), zomu.model_fingerprint(MODEL))
            zomu.save_template(copy, template)
            score = zomu.compare(template, template)
        done = run(TOOLS / "zomu-template", "extract", PICTURE, LANDMARKS, tools)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(path.read_bytes(), tools.read_bytes())
        self.assertEqual(path.read_bytes(), copy.read_bytes())
        done = run(TOOLS / "zomu-template", "compare", path, copy)
        self.assertEqual(done.stdout, f"{score:.9g}\n")


if __name__ == "__main__":
    unittest.main()

"""How the library and its model are found, and what is said where they are not."""

import os
import tempfile
import unittest
from pathlib import Path

from support import LANDMARKS, MODEL, TEMPORARY, linked_model, run_python

EXTRACT = f"""
import numpy, zomu
image = numpy.full((300, 300, 3), 90, dtype=numpy.uint8)
def extract(context):
    return context.extract(image, {str(LANDMARKS)!r})
"""


class LoadingTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def assert_prints(self, code: str, expected: str, **variables: str) -> None:
        done = run_python(EXTRACT + code, **variables)
        self.assertEqual(done.stderr, "")
        self.assertEqual(done.stdout, expected)

    def assert_refuses(self, code: str, kind: str, *words: str, **variables: str) -> None:
        done = run_python(EXTRACT + code, **variables)
        last = done.stderr.strip().splitlines()[-1]
        self.assertTrue(last.startswith(f"zomu.errors.{kind}: "), last)
        for word in words:
            self.assertIn(word, last)
        self.assertEqual(done.stdout, "")

    def test_finds_the_model_of_the_temporary_directory_after_the_process_has_moved(self) -> None:
        self.assert_prints("print(extract(zomu.Context()).shape)", "(502,)\n")
        self.assert_prints(
            "import os\ncontext = zomu.Context()\nos.chdir('/')\nprint(extract(zomu.Context()).shape)",
            "(502,)\n",
            TMPDIR=os.path.relpath(TEMPORARY),
        )

    def test_takes_a_model_under_any_name_and_leaves_no_trace(self) -> None:
        model = linked_model(self.folder / "a model")
        other = self.folder / "temporary"
        other.mkdir()
        self.assert_prints(
            "import os\n"
            f"with zomu.Context({str(model)!r}) as context:\n"
            "    a = extract(context)\n"
            f"assert os.environ['TMPDIR'] == {str(other)!r}\n"
            f"b = extract(zomu.Context({str(self.folder)!r} + '/./a model'))\n"
            "print((a == b).all())",
            "True\n",
            TMPDIR=str(other),
        )
        self.assertEqual(list(other.iterdir()), [])

    def test_without_a_model_folder_it_says_what_to_do(self) -> None:
        self.assert_refuses(
            "zomu.Context()",
            "ModelError",
            f"no model folder {self.folder}/~zvplugintmp~",
            "Context(model=FOLDER)",
            "TMPDIR",
            "zomu-model make",
            TMPDIR=str(self.folder),
        )

    def test_an_incomplete_model_is_refused_before_the_library_is_loaded(self) -> None:
        model = linked_model(self.folder / "model", leave_out="1-7-2")
        (model / "6-0").unlink()
        (model / "6-0").write_text("version https://example.org/v1\noid sha256:0\n")
        code = f"zomu.Context({str(model)!r})"
        words = ("2 of the 303 files", "6-0 has", "1-7-2 is missing", "zomu-model check")
        self.assert_refuses(code, "ModelError", *words)

    def test_unusable_weights_are_an_error(self) -> None:
        model = linked_model(self.folder / "model", leave_out="1-1-1")
        (model / "1-1-1").write_bytes(bytes(3080))
        self.assert_refuses(f"extract(zomu.Context({str(model)!r}))", "ModelError", "no template", str(model))

    def test_a_process_has_one_model(self) -> None:
        model = linked_model(self.folder / "model")
        self.assert_refuses(
            f"zomu.Context({str(model)!r})\nzomu.load({str(self.folder)!r})", "ModelError", str(model), "one model"
        )

    def test_without_a_library_it_says_what_to_do(self) -> None:
        words = ("cannot be loaded", "cmake --install", "ZOMU_LIBRARY", "library=FILE")
        self.assert_refuses("zomu.Context()", "LibraryError", *words, ZOMU_LIBRARY="/no/libZOMU.so")
        self.assert_refuses("zomu.Context()", "LibraryError", "libZOMU.so.0", ZOMU_LIBRARY="")
        self.assert_refuses("zomu.Context(library='libc.so.6')", "LibraryError", "is not the library", "ZomuCreate")

    def test_a_library_that_others_have_loaded_has_its_model_already(self) -> None:
        library = os.environ["ZOMU_LIBRARY"]
        load = f"import ctypes\nctypes.CDLL({library!r})\n"
        self.assert_refuses(load + f"zomu.Context({str(MODEL)!r})", "LibraryError", "model=")
        self.assert_prints(load + "print(extract(zomu.Context()).shape)", "(502,)\n")

    def test_a_directory_that_would_end_the_process_is_an_error(self) -> None:
        self.assert_refuses("zomu.Context()", "ModelError", "240 bytes", "237", TMPDIR="/" + "a" * 239)
        deep = self.folder
        while len(str(deep)) < 260:
            deep = deep / ("d" * 100)
        deep.mkdir(parents=True)
        model = linked_model(deep / "model")
        self.assert_prints(f"print(extract(zomu.Context({str(model)!r})).shape)", "(502,)\n")

    def test_a_process_that_only_compares_needs_no_model(self) -> None:
        code = (
            "zomu.load(without_model=True)\n"
            "a = numpy.zeros(502, dtype=numpy.float32)\n"
            "a[[3, 500, 501]] = 2\n"
            "print(zomu.compare(a, a))\n"
            "zomu.Context()"
        )
        done = run_python(EXTRACT + code, TMPDIR=str(self.folder))
        lines = done.stdout.splitlines()
        # q is 2 on both sides, the lengths are 2, and so the score is (2 * 4 - 2 - 2) / 4 + 1.
        self.assertEqual(lines[-1], "2.0")
        self.assertEqual(len(lines), 29)
        self.assertIn("without a model, to compare only", done.stderr)
        self.assert_refuses(
            "a = numpy.zeros(502, dtype=numpy.float32)\na[[3, 501]] = 2\nzomu.compare(a, a)",
            "ModelError",
            "zomu.load(without_model=True)",
            TMPDIR=str(self.folder),
        )

    def test_a_forked_process_is_an_error_and_no_deadlock(self) -> None:
        self.assert_prints(
            "import os, sys\n"
            "context = zomu.Context()\n"
            "extract(context)\n"
            "child = os.fork()\n"
            "if child == 0:\n"
            "    try:\n"
            "        extract(context)\n"
            "    except zomu.LibraryError as problem:\n"
            "        print('spawn' in str(problem), flush=True)\n"
            "    os._exit(0)\n"
            "os.waitpid(child, 0)",
            "True\n",
        )

    def test_a_forked_process_leaves_the_model_to_the_one_that_made_its_folder(self) -> None:
        model = linked_model(self.folder / "model")
        other = self.folder / "temporary"
        other.mkdir()
        ends = {
            "the end of a child": "if os.fork() == 0:\n    sys.exit(0)\nos.wait()\n",
            "the end of a worker": "worker = multiprocessing.get_context('fork').Process(target=atexit._run_exitfuncs)\n"
            "worker.start()\nworker.join()\n",
        }
        for name, end in ends.items():
            with self.subTest(name):
                self.assert_prints(
                    "import atexit, multiprocessing, os, sys\n"
                    f"first = zomu.Context({str(model)!r})\n"
                    f"a = extract(first)\n{end}"
                    "print((extract(zomu.Context()) == a).all())",
                    "True\n",
                    TMPDIR=str(other),
                )
                self.assertEqual(list(other.iterdir()), [])

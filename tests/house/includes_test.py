"""The house rules of the sources: which folder may include which, and who may name what is process-wide.

The table under "Folders" in docs/architecture.md is the rule; this reads it and compares.
"""

import graphlib
import os
import pathlib
import re
import unittest

PROJECT = pathlib.Path(os.environ.get("ZOMU_TEST_PROJECT", pathlib.Path(__file__).parents[2]))
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)


def rules():
    """Folder of src/ -> folders that it may include, in the order of the table."""
    text = (PROJECT / "docs" / "architecture.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| `src/(\w+)/` \|[^|]*\| ([^|]*) \|$", text, re.MULTILINE)
    result = {}
    for folder, allowed in rows:
        result[folder] = set(result) if allowed == "everything above" else set(re.findall(r"`(\w+)`", allowed))
    return result


def includes(folder="src"):
    """File, relative to `folder` -> the files of ours that it includes."""
    root = PROJECT / folder
    found = {}
    for path in sorted(root.rglob("*.*")):
        if path.suffix in (".h", ".cpp", ".c"):
            names = INCLUDE.findall(path.read_text(encoding="utf-8"))
            found[path.relative_to(root).as_posix()] = [n for n in names if (root / n).exists()]
    return found


class Includes(unittest.TestCase):
    def testTheTableListsEveryFolderOfTheSources(self):
        folders = {path.name for path in (PROJECT / "src").iterdir() if path.is_dir()}
        self.assertEqual(folders, set(rules()))

    def testNoFolderMayIncludeOneThatStandsBelowItInTheTable(self):
        seen = set()
        for folder, allowed in rules().items():
            self.assertLessEqual(allowed, seen, folder)
            seen.add(folder)

    def testFilesIncludeOnlyWhatTheirFolderMay(self):
        allowed = rules()
        wrong = [f"{name} includes {other}" for name, others in includes().items() for other in others
                 if other.split("/")[0] != name.split("/")[0]
                 and other.split("/")[0] not in allowed[name.split("/")[0]]]
        self.assertEqual(wrong, [])

    def testNoFilesIncludeEachOtherInACircle(self):
        # A circle raises CycleError, which names its files.
        graphlib.TopologicalSorter(includes()).prepare()

    def testPicturesKnowNothingOfTheLibrary(self):
        for path in (PROJECT / "pictures").glob("*.[ch]"):
            for name in INCLUDE.findall(path.read_text(encoding="utf-8")):
                self.assertTrue(name == "zomu.h" or (path.parent / name).exists(), f"{path.name}: {name}")

    def testOnlyTheModelAndTheServiceNameWhatIsProcessWide(self):
        # OpenBLAS asks for its memory without saying for whom, and what was standard output when the library
        # was loaded cannot be found out later: these two have to remember.
        remembering = ("blas_memory.cpp", "host_output.cpp")
        for path in sorted((PROJECT / "src").rglob("*.*")):
            if path.parent.name not in ("model", "service") and path.name not in remembering:
                code = COMMENT.sub("", path.read_text(encoding="utf-8"))
                self.assertNotRegex(code, r"\b(g_\w+|modelDir|tempPath)\b", path.name)


if __name__ == "__main__":
    unittest.main()

"""The outside of ZOMU.dll and of ZOMUbatch.dll, read back from the files.

    ordinals_test.py OBJDUMP LIBRARY PROGRAM BATCH    PROGRAM is linked with the import library of ZOMU.dll

The tests that open the library find its functions by these numbers.
"""

import re
import subprocess
import sys
import unittest

OBJDUMP, LIBRARY, PROGRAM, BATCH = sys.argv[1:]


def headers_of(path):
    return subprocess.run([OBJDUMP, "-p", path], check=True, capture_output=True, text=True).stdout


class OrdinalsTest(unittest.TestCase):
    def test_are_one_to_four_without_a_name(self):
        headers = headers_of(LIBRARY)
        self.assertEqual(re.findall(r"\nName\s+\w+ (.+)", headers), ["ZOMU.dll"])
        self.assertEqual(re.findall(r"\+base\[ *(\d+)\] \w+ Export", headers), ["1", "2", "3", "4"])
        self.assertEqual(re.findall(r"\[Name Pointer/Ordinal\] Table\s+(\d+)", headers), ["00000000"])

    def test_the_library_for_batches_exports_three_names(self):
        headers = headers_of(BATCH)
        self.assertEqual(re.findall(r"\nName\s+\w+ (.+)", headers), ["ZOMUbatch.dll"])
        self.assertEqual(
            sorted(re.findall(r"\t\[ *\d+\] (\w+)\n", headers.split("[Ordinal/Name Pointer] Table")[1])),
            ["ZomuBatchCreate", "ZomuBatchDestroy", "ZomuBatchExtract"],
        )

    def test_libraries_import_windows_alone(self):
        for library in (LIBRARY, BATCH):
            names = {name.lower() for name in re.findall(r"DLL Name: (.+)", headers_of(library))}
            self.assertIn("kernel32.dll", names)
            self.assertLessEqual(names, {"kernel32.dll", "msvcrt.dll"})

    def test_import_library_imports_by_number(self):
        table = re.search(r"DLL Name: ZOMU\.dll\n.*\n((?:\t.+\n)+)", headers_of(PROGRAM))
        self.assertEqual(sorted(table[1].split()[0::3]), [f"800000000000000{n}" for n in range(1, 5)])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

"""Whoever's code the installed libraries and programs carry stands in the copyright file of their package."""

import os
import re
import subprocess
import unittest
from pathlib import Path

BUILD = Path(os.environ["ZOMU_BUILD"])
DOCUMENTS = Path("/usr/share/doc")

# Binaries of each package, and where its copyright file is until it is installed.
PACKAGES = {"library": ("src/libZOMU.so", "src/libZOMUbatch.so"),
            "pictures": ("src/libZOMUpictures.so",),
            "tools": ("tools/zomu-model", "tools/zomu-template", "tools/zomu-inspect", "tools/zomu-variants")}

# The C library, which is shared, and the compiler's run time, which asks for no notice.
SYSTEM = re.compile(r"(libc6|linux-libc|libstdc\+\+-\d+|libgcc-\d+)-dev$")


def lines_of(*command) -> list[str]:
    return subprocess.run(command, cwd=BUILD, capture_output=True, text=True, check=False).stdout.splitlines()


def packages_of(files: set[str]) -> set[str]:
    """The Debian packages that these files of the system come from, without their architecture."""
    found = lines_of("dpkg-query", "--search", *sorted(os.path.normpath(file) for file in files))
    return {line.split(":")[0] for line in found if not line.startswith("diversion")}


def carried_by(binary: str) -> set[str]:
    """Packages with code in the binary itself: linked archives, and headers of what isn't a shared library."""
    inputs = set(lines_of("ninja", "-t", "inputs", binary))
    objects = {path for path in inputs if path.endswith(".o")}
    headers = {line.strip() for path in objects for line in lines_of("ninja", "-t", "deps", path)[1:]}
    system = {path for path in inputs | headers if path.startswith("/usr/")}
    shared = packages_of({path for path in system if re.search(r"\.so(\.\d+)*$", path)})
    return {package for package in packages_of(system) - shared if not SYSTEM.match(package)}


class Notices(unittest.TestCase):
    def test_every_copyright_file_names_what_its_package_carries(self):
        everything = set()
        for package, binaries in PACKAGES.items():
            text = (BUILD / "notices" / package).read_text(encoding="utf-8")
            self.assertTrue(text.startswith("MIT License"))
            carried = set.union(*map(carried_by, binaries))
            everything |= carried
            for name in carried:
                notice = (DOCUMENTS / name / "copyright").read_text(encoding="utf-8")
                self.assertTrue(notice in text, f"{package} carries code of {name}")
        # What is known to be there: a test that finds nothing would say nothing.
        self.assertEqual(everything, {"libopenblas-openmp-dev", "libcli11-dev"})


if __name__ == "__main__":
    unittest.main()

"""The type hints hold, as mypy sees them."""

import tempfile
import unittest

from support import PROJECT, run


class TypesTest(unittest.TestCase):
    def test_strict_checks_find_nothing(self) -> None:
        with tempfile.TemporaryDirectory() as cache:
            done = run("/usr/bin/mypy", "--strict", "--cache-dir", cache, PROJECT / "python/zomu")
        self.assertEqual(done.returncode, 0, done.stdout)

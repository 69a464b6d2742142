"""What every writer of files does where its target is no regular file, or the disk is full: what was there stays."""

import os
import resource
import signal
import stat
import tempfile
import unittest
from pathlib import Path

import numpy as np

import zomu
from support import LANDMARKS

OTHER = "ab" * 32
POINTS = zomu.read_landmarks(LANDMARKS)


def small_template() -> np.ndarray:
    template = np.zeros(502, dtype=np.float32)
    template[0] = template[501] = 2
    return template


WRITERS = {
    "a template": lambda path: zomu.save_template(path, small_template(), fingerprint=OTHER),
    "landmarks": lambda path: zomu.write_landmarks(path, POINTS),
}


class WritingTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.path = self.folder / "file"
        self.path.write_text("old")

    def assert_not_written(self, target: Path, words: str) -> None:
        before = sorted(self.folder.iterdir())
        for name, write in WRITERS.items():
            with self.subTest(name), self.assertRaisesRegex(OSError, words) as caught:
                write(target)
            self.assertIn(str(target), str(caught.exception))
            self.assertEqual(sorted(self.folder.iterdir()), before)
        self.assertEqual(self.path.read_text(), "old")

    def test_links_pipes_and_folders_stay_as_they_are(self) -> None:
        link, dangling, pipe = (self.folder / name for name in ("link", "dangling", "pipe"))
        link.symlink_to(self.path)
        dangling.symlink_to(self.folder / "nothing")
        os.mkfifo(pipe)
        self.assert_not_written(link, "is a symbolic link, and none is followed or replaced")
        self.assert_not_written(dangling, "is a symbolic link")
        self.assert_not_written(pipe, "is not a regular file, and is not replaced")
        self.assert_not_written(self.folder, "is a folder")
        self.assert_not_written(self.folder / "nothing" / "file", "No such file or directory")
        self.assertTrue(link.is_symlink() and dangling.is_symlink() and pipe.is_fifo())

    def test_a_full_disk_leaves_the_former_file(self) -> None:
        self.addCleanup(signal.signal, signal.SIGXFSZ, signal.signal(signal.SIGXFSZ, signal.SIG_IGN))
        former = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, former)
        resource.setrlimit(resource.RLIMIT_FSIZE, (100, former[1]))
        self.assert_not_written(self.path, "File too large")
        self.assert_not_written(self.folder / "absent", "File too large")

    def test_a_file_is_replaced_as_a_whole_and_keeps_its_permissions(self) -> None:
        for name, write in WRITERS.items():
            for mode in (0o600, 0o640):
                self.path.chmod(mode)
                with open(self.path, "rb") as reader, self.subTest(name, mode=mode):
                    former = self.path.read_bytes()
                    write(self.path)
                    self.assertEqual(reader.read(), former)
                    self.assertNotEqual(self.path.stat().st_ino, os.fstat(reader.fileno()).st_ino)
                    self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), mode)
                    self.assertEqual(list(self.folder.iterdir()), [self.path])

    def test_new_files_have_the_usual_permissions_and_any_name(self) -> None:
        self.addCleanup(os.umask, os.umask(0o027))
        for name, write in WRITERS.items():
            path = self.folder / (name[0] * 255)  # no room for anything in addition
            write(path)
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o640)
            os.chdir(self.folder)
            write(name)
            self.assertTrue((self.folder / name).is_file())


if __name__ == "__main__":
    unittest.main()

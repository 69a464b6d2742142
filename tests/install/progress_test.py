"""What is being installed is shown while it happens, not when all is done."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]

# Goes on with the second half when it is told to.
APT_GET = """#!/bin/bash
[ "$1" = update ] && echo 'Get:1 http://deb.example bookworm InRelease' && exit
echo '0 upgraded, 2 newly installed, 0 to remove and 0 not upgraded.'
echo 'After this operation, 5 MB of additional disk space will be used.'
echo 'Get:1 http://deb.example bookworm/main first'
read -r <"$PIPE"
echo 'Get:2 http://deb.example bookworm/main second'
echo 'Unpacking first (1.0-1) ...'
echo 'Unpacking second (1.0-1) ...'
echo 'Setting up first'
echo 'Setting up second'
"""
SUDO = '#!/bin/bash\nexec "$@"\n'


class ProgressTest(unittest.TestCase):
    def test_tenths_are_printed_as_they_are_complete(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name, text in (("apt-get", APT_GET), ("sudo", SUDO)):
            (folder / name).write_text(text)
            (folder / name).chmod(0o755)
        pipe = folder / "pipe"
        os.mkfifo(pipe)
        variables = {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}", "PIPE": str(pipe)}
        script = [PROJECT / "scripts/install-dependencies.sh", "zomu-no-such-package"]
        with subprocess.Popen(["timeout", "30", *script], env=variables, stdout=subprocess.PIPE, text=True) as running:
            assert running.stdout is not None
            early = [next(running.stdout) for _ in range(4)]
            pipe.write_text("\n")
            late = list(running.stdout)
        self.assertEqual(running.returncode, 0)
        self.assertEqual(early[0], "Installing: zomu-no-such-package\n")
        self.assertIn("2 newly installed", early[1])
        self.assertIn("5 MB", early[2])
        self.assertEqual(early[3], "  fetched 50 %\n")
        stages = ("fetched 100 %", "unpacked 50 %", "unpacked 100 %", "set up 50 %", "set up 100 %")
        self.assertEqual(late, [f"  {stage}\n" for stage in stages])


if __name__ == "__main__":
    unittest.main()

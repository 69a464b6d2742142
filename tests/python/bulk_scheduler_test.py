"""`zomu extract-all --scheduler`: a real scheduler of Dask and four workers, on loopback, with certificates."""

import os
import shutil
import socket
import subprocess
import sys
import unittest
from pathlib import Path

from bulk_support import BulkTest, children_of, end, wait_until
from distributed.security import Security
from support import TEMPORARY


class BulkSchedulerTest(BulkTest):
    def setUp(self) -> None:
        super().setUp()
        self.source = self.photos()
        made = Security.temporary()
        files = {"CA_FILE": made.tls_ca_file, "CERT": made.tls_client_cert, "KEY": made.tls_client_key}
        for name, text in files.items():
            (self.folder / name).write_text(text)
        tls = "DASK_DISTRIBUTED__COMM__TLS"
        self.variables[f"{tls}__CA_FILE"] = str(self.folder / "CA_FILE")
        for role in ("CLIENT", "SCHEDULER", "WORKER"):
            for name in ("CERT", "KEY"):
                self.variables[f"{tls}__{role}__{name}"] = str(self.folder / name)
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.address = f"tls://127.0.0.1:{self.port}"
        finder = ["--finder", "finders_of_tests:notes"]
        self.words = [self.source, self.out, "--part", 8, *finder, "--scheduler", self.address, "--limit", 60]

    def service(self, *words: object, **variables: str) -> subprocess.Popen[bytes]:
        """Of Dask; its log is in a file."""
        with open(self.folder / f"{words[0]}.log", "ab") as log:
            process = subprocess.Popen(
                [sys.executable, "-B", "-m", "dask", *map(str, words)],
                env={**os.environ, **self.variables, **variables},
                cwd=self.folder,
                stdout=log,
                stderr=log,
            )
        self.addCleanup(stop, process)
        return process

    def scheduler(self) -> subprocess.Popen[bytes]:
        place = ["--host", "tls://127.0.0.1", "--port", self.port]
        return self.service("scheduler", *place, "--protocol", "tls", "--no-dashboard", "--no-show")

    def worker(self, name: str, nanny: bool = True, **variables: str) -> subprocess.Popen[bytes]:
        """With a nanny there are two processes, of which one watches the other."""
        home = self.folder / f"worker-{name}"
        settings = ["--nthreads", 1, "--name", name, "--local-directory", home, "--no-dashboard", "--death-timeout", 60]
        settings.append("--nanny" if nanny else "--no-nanny")
        return self.service("worker", self.address, *settings, **variables)

    def test_killed_and_hung_workers_and_one_with_another_model_change_nothing(self) -> None:
        self.scheduler()
        killed, hung = self.worker("killed", nanny=False), self.worker("hung")
        self.worker("good", nanny=False)
        foreign = self.worker("foreign", nanny=False, TMPDIR=str(TEMPORARY))
        shutil.copytree(self.source / "90000", self.source / "more/90000")
        shutil.copytree(self.source, self.source.with_name("again"))
        self.source.with_name("again").rename(self.source / "again")
        run = self.start(*self.words)
        wait_until(lambda: children_of(hung))
        for process in (killed.pid, children_of(hung)[0]):
            wait_until(lambda: self.has_looked(process))
        # One is gone, as when a machine fails; in the other nothing moves any more.
        kill(killed, "KILL")
        kill(children_of(hung)[0], "STOP")
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (0, f"{self.out}: 104 templates of 104 photographs\n"), err)
        self.assert_each_once(self.source)
        for words in (
            "gets no work: has another model: ",
            "is lost: its work is done by others",
            "has given nothing for 60 s: its work is done by others",
        ):
            self.assertIn(words, err)
        self.assertEqual(err.count("has another model"), 1, err)
        self.assertEqual({row["model"][:8] for row in self.rows()}, {"e391fe22"})
        self.assertIsNone(foreign.poll())

    def test_a_run_outlives_its_scheduler(self) -> None:
        scheduler = self.scheduler()
        for number in range(4):
            self.worker(f"first-{number}", nanny=False)
        run = self.start(*self.words, "--limit", 100)
        wait_until(self.parts)
        kill(scheduler, "KILL")
        scheduler.wait()
        before = len(self.rows())
        self.scheduler()
        for number in range(4):
            self.worker(f"second-{number}", nanny=False)
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (0, f"{self.out}: 48 templates of 48 photographs\n"), err)
        self.assertLess(before, 48)
        self.assert_each_once(self.source)

    def test_without_its_scheduler_it_ends_and_goes_on_later(self) -> None:
        scheduler = self.scheduler()
        self.worker("one", nanny=False)
        run = self.start(*self.words, "--limit", 30)
        wait_until(self.parts)
        kill(scheduler, "KILL")
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (1, ""), err)
        self.assertIn("the scheduler did not come back within 30 s; the same command goes on where this run was\n", err)
        self.assertNotIn("Traceback", err)
        written = len(self.rows())
        self.assertGreater(written, 0)
        status, out, err = self.run_to_end(*self.words[:-4], "--processes", 2, PAUSE="0")
        self.assertEqual((status, err), (0, ""))
        self.assertIn(f"48 templates of 48 photographs, {written} of them in earlier runs", out)
        self.assert_each_once(self.source)

    def test_without_workers_it_says_what_is_missing(self) -> None:
        status, out, err = self.run_to_end(*self.words, "--limit", 2)
        self.assertEqual((status, out), (1, ""))
        self.assertIn(f"no scheduler answers at {self.address}: ", err)
        self.scheduler()
        status, out, err = self.run_to_end(*self.words, "--limit", 5)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "zomu extract-all: no worker came within 5 s; start one with `dask worker " + self.address + "`\n")
        self.worker("foreign", nanny=False, TMPDIR=str(TEMPORARY))
        status, out, err = self.run_to_end(*self.words, "--limit", 60)
        self.assertEqual((status, out), (1, ""))
        self.assertIn("no worker can do the work: one has another model: ", err.splitlines()[-1])
        self.assertEqual(self.looked_at(), 0)


def kill(process: subprocess.Popen[bytes] | int, name: str) -> None:
    subprocess.run(["kill", f"-{name}", str(process if isinstance(process, int) else process.pid)], check=True)


def stop(process: subprocess.Popen[bytes]) -> None:
    """And the worker that it watches, which would end by itself a little later."""
    workers = children_of(process) if process.poll() is None else []
    end(process)
    for worker in workers:
        if Path(f"/proc/{worker}").exists():
            kill(worker, "KILL")


if __name__ == "__main__":
    unittest.main()

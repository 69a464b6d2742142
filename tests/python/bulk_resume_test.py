"""`zomu extract-all` goes on where it was: nothing is lost, and nothing is done twice."""

import resource
import signal
import subprocess
import unittest

import pyarrow.parquet as pq

from bulk_support import BulkTest, children_of, is_alive, wait_until


class BulkResumeTest(BulkTest):
    def setUp(self) -> None:
        super().setUp()
        self.source = self.photos()
        finder = ["--finder", "finders_of_tests:notes"]
        self.words = [self.source, self.out, "--part", 8, "--processes", 2, *finder]

    def test_a_killed_run_goes_on(self) -> None:
        run = self.start(*self.words)
        wait_until(self.parts)
        workers = children_of(run)
        self.assertEqual(len(workers), 2)
        run.kill()
        run.wait()
        wait_until(lambda: not any(is_alive(worker) for worker in workers), 60)
        written = self.rows()
        self.assertLess(len(written), 48)
        before = self.looked_at()
        status, out, err = self.run_to_end(*self.words, PAUSE="0")
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, f"{self.out}: 48 templates of 48 photographs, {len(written)} of them in earlier runs\n")
        self.assert_each_once(self.source)
        # Only what was not in a file is looked at again.
        self.assertEqual(self.looked_at() - before, 48 - len(written))
        # What was there is as it was.
        self.assertEqual([row for row in self.rows() if row in written], written)

    def test_a_killed_worker_loses_nothing(self) -> None:
        run = self.start(*self.words)
        wait_until(self.looked_at)
        victim = int(self.notes.read_text().split()[0])
        subprocess.run(["kill", "-9", str(victim)], check=True)
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (0, f"{self.out}: 48 templates of 48 photographs\n"))
        self.assertRegex(err, "^zomu extract-all: the worker tls://127.0.0.1:[0-9]+ is lost: its work is done by others\n$")
        self.assert_each_once(self.source)

    def test_a_worker_that_hangs_is_started_again(self) -> None:
        self.notes.touch()
        run = self.start(*self.words, "--limit", 60, PAUSE="0.1")
        wait_until(self.looked_at)
        victim = int(self.notes.read_text().split()[0])
        subprocess.run(["kill", "-STOP", str(victim)], check=True)
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (0, f"{self.out}: 48 templates of 48 photographs\n"), err)
        self.assertIn("has given nothing for 60 s: its work is done by others\n", err)
        self.assertFalse(is_alive(victim))
        self.assert_each_once(self.source)

    def test_a_file_that_is_cut_off_is_done_again(self) -> None:
        self.assertEqual(self.run_to_end(*self.words, PAUSE="0")[0], 0)
        last = self.parts()[-1]
        photographs = pq.read_table(last).num_rows
        content = last.read_bytes()[:-1]
        last.write_bytes(content)
        before = self.looked_at()
        status, out, err = self.run_to_end(*self.words, PAUSE="0")
        self.assertIn(f"zomu extract-all: {last.name}: is damaged or cut off, and now in damaged/; its photo", err)
        earlier = 48 - photographs
        self.assertIn(f": 48 templates of 48 photographs, {earlier} of them in earlier runs\n", out)
        self.assertEqual((status, self.looked_at() - before), (0, photographs))
        self.assert_each_once(self.source)
        self.assertEqual((self.out / "damaged" / last.name).read_bytes(), content)

    def test_whoever_is_stopped_writes_what_there_is(self) -> None:
        done = 0
        for number, signal_number in enumerate((signal.SIGINT, signal.SIGTERM)):
            run = self.start(*self.words, "--part", 1000, "--processes", 1)
            before = self.looked_at()
            wait_until(lambda: self.looked_at() >= before + 24)  # 16 are done, and more are under way
            run.send_signal(signal_number)
            status, out, err = self.ended(run)
            self.assertEqual((status, out), (128 + signal_number, ""), err)
            self.assertEqual(len(self.parts()), 1 + number)
            self.assertGreater(len(self.rows()), done)
            done = len(self.rows())
        self.assertEqual(self.run_to_end(*self.words, PAUSE="0")[0], 0)
        self.assert_each_once(self.source)

    def test_two_runs_do_not_write_to_one_place(self) -> None:
        run = self.start(*self.words)
        wait_until(self.looked_at)
        status, out, err = self.run_to_end(*self.words)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(
            err, f"zomu extract-all: {self.out}: another run is writing there; wait for its end, or stop it\n"
        )
        run.communicate(timeout=300)
        self.assert_each_once(self.source)

    def test_a_full_disk_ends_the_run_and_leaves_whole_files(self) -> None:
        run = self.start(*self.words)
        wait_until(self.parts)
        resource.prlimit(run.pid, resource.RLIMIT_FSIZE, (5000, 5000))
        status, out, err = self.ended(run)
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(err, "^zomu extract-all: .*File too large\n$")
        self.assertEqual(set((self.out / "templates").iterdir()), set(self.parts()))
        self.assertLess(len(self.rows()), 48)
        self.assertEqual(self.run_to_end(*self.words, PAUSE="0")[0], 0)
        self.assert_each_once(self.source)


if __name__ == "__main__":
    unittest.main()

"""Photographs from a store of objects, and parts into one: a real S3 interface on loopback, and fsspec's memory."""

import contextlib
import io
import os
import socket
import subprocess
import sys
import unittest

import fsspec
import numpy as np
import pyarrow.parquet as pq

from bulk_support import BulkTest, end, wait_until
from zomu.command import main

KEYS = {"AWS_ACCESS_KEY_ID": "test", "AWS_SECRET_ACCESS_KEY": "test", "AWS_DEFAULT_REGION": "us-east-1"}


class BulkStoreTest(BulkTest):
    def test_runs_from_and_to_s3_and_goes_on_there(self) -> None:
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        address = f"http://127.0.0.1:{port}"
        server = subprocess.Popen(
            [sys.executable, "-B", "-m", "moto.server", "-H", "127.0.0.1", "-p", str(port)],
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        self.addCleanup(end, server)
        self.variables |= {**KEYS, "FSSPEC_S3_ENDPOINT_URL": address}
        store = fsspec.filesystem(
            "s3", key="test", secret="test", endpoint_url=address, skip_instance_cache=True, use_listings_cache=False
        )
        wait_until(lambda: answers(port))
        store.mkdir("bucket")
        photos = self.photos(5)
        store.put(f"{photos}/", "bucket/photos", recursive=True)

        words = ["s3://bucket/photos", "s3://bucket/out", "--landmarks", "--part", 4, "--processes", 1]
        status, out, err = self.run_to_end(*words, "--npy")
        self.assertEqual((status, out, err), (0, "s3://bucket/out: 20 templates of 20 photographs\n", ""))
        parts = store.ls("bucket/out/templates", detail=False)
        self.assertEqual(pq.read_table("bucket/out/templates", filesystem=store).num_rows, 20)
        with store.open("bucket/out/templates.npy") as array:
            self.assertEqual(np.load(array).shape, (20, 502))

        # A part that is cut off there, and one that is gone.
        store.pipe_file(parts[-1], store.cat_file(parts[-1])[:-5])
        status, out, err = self.run_to_end(*words)
        self.assertIn("is damaged or cut off", err)
        self.assertRegex(out, "20 templates of 20 photographs, [0-9]+ of them in earlier runs\n$")
        names = pq.read_table("bucket/out/templates", filesystem=store).column("photo").to_pylist()
        self.assertEqual(sorted(names), sorted(str(path.relative_to(photos)) for path in photos.rglob("*.jpg")))

    def test_writes_to_any_store_that_fsspec_knows(self) -> None:
        memory = fsspec.filesystem("memory")
        out = io.StringIO()
        os.environ.update(self.variables)
        words = ["extract-all", str(self.photos(1)), "memory://place/out", "--processes", "1", "--npy"]
        for said in ("", ", 4 of them in earlier runs"):
            with contextlib.redirect_stdout(out):
                self.assertEqual(main(words), 0)
            self.assertTrue(out.getvalue().endswith(f"memory://place/out: 4 templates of 4 photographs{said}\n"))
        found = memory.find("/place/out")
        names = ["faces.csv", "rejects.csv", "run.json", "templates.npy", "templates/part-00000001.parquet"]
        self.assertEqual([name.removeprefix("/place/out/") for name in found], names)


def answers(port: int) -> bool:
    with socket.socket() as client:
        return client.connect_ex(("127.0.0.1", port)) == 0


if __name__ == "__main__":
    unittest.main()

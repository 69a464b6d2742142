"""`zomu extract-all`: what it writes, from which sources, and why a photograph is left out."""

import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

import numpy as np

import zomu
from bulk_support import PEOPLE, BulkTest
from picture_writer import png_of
from support import PROJECT, TEMPORARY
from zomu import finders


class BulkRunTest(BulkTest):
    def test_templates_are_those_of_one_by_one(self) -> None:
        photos = self.photos(5)
        two = np.concatenate([zomu.read_picture(photos / f"9000{n}/01.jpg") for n in (0, 1)], axis=1)
        write_png(photos / "two.png", two)
        status, out, err = self.run_to_end(photos, self.out, "--npy", "--json", "--processes", 2)
        self.assertEqual((status, err), (0, ""))
        counts = {"photographs": 21, "earlier": 0, "templates": 22, "left_out": 0}
        self.assertEqual(json.loads(out), {"output": str(self.out), **counts})
        rows, array = self.rows(), np.load(self.out / "templates.npy", mmap_mode="r")
        self.assertEqual((len(rows), array.shape, array.dtype), (22, (22, 502), np.float32))
        self.assertEqual(len((self.out / "faces.csv").read_text().splitlines()), 1 + 22)
        with zomu.Context() as context:
            for row, template in zip(rows, array):
                image = zomu.read_picture(photos / row["photo"])
                face = finders.find_faces(image, finders.finder_named())[row["face"] - 1]
                expected = context.extract(image, face.landmarks)
                np.testing.assert_array_equal(template, expected)
                np.testing.assert_array_equal(np.float32(row["template"]), expected)
                self.assertEqual([row[side] for side in ("left", "top", "right", "bottom")], list(np.float32(face.box)))
                self.assertEqual((row["finder"], row["finder_version"]), (face.finder, face.version))
                self.assertEqual(row["sha256"], hashlib.sha256((photos / row["photo"]).read_bytes()).hexdigest())
        self.assertEqual([row["face"] for row in rows if row["photo"] == "two.png"], [1, 2])
        model = zomu.model_fingerprint(self.directory / "~zvplugintmp~")
        self.assertEqual({(row["model"], row["zomu"]) for row in rows}, {(model, zomu.__version__)})

    def test_all_sources_give_the_same(self) -> None:
        photos = self.photos(2)
        names = sorted(str(path.relative_to(photos)) for path in photos.rglob("*.jpg"))
        (photos / "list.csv").write_text("photo\n" + "".join(f"{name}\n" for name in names))
        lines = "".join(f"{photos / name}\n" for name in names)
        uses = [([photos], ""), ([photos / "list.csv"], ""), (["-"], lines)]
        templates = []
        for number, (source, given) in enumerate(uses):
            self.out = self.folder / f"out{number}"
            status, _, err = self.run_to_end(*source, self.out, "--processes", 1, given=given)
            self.assertEqual((status, err), (0, ""))
            rows = sorted(self.rows(), key=lambda row: row["photo"])
            self.assertEqual([row["photo"].removeprefix(f"{photos}/") for row in rows], names)
            templates.append([row["template"] for row in rows])
        self.assertEqual(templates[0], templates[1])
        self.assertEqual(templates[0], templates[2])

    def test_landmarks_come_from_files(self) -> None:
        manifest = PROJECT / "examples/data/people/manifest.csv"
        for number, words in enumerate(([PEOPLE, "--landmarks"], [manifest])):
            self.out = self.folder / f"out{number}"
            status, _, err = self.run_to_end(*words, self.out, "--processes", 2)
            self.assertEqual((status, err), (0, ""))
            rows = self.rows()
            self.assertEqual(len(rows), 48)
            self.assertEqual({(row["finder"], row["left"], row["confidence"]) for row in rows}, {(None, None, None)})
            self.assertEqual({row["person"] is None for row in rows}, {number == 0})
            with zomu.Context() as context:
                for row in rows[::9]:
                    photo = PEOPLE / row["photo"].removeprefix("photos/")
                    template = context.extract(zomu.read_picture(photo), photo.with_suffix(".csv"))
                    np.testing.assert_array_equal(np.float32(row["template"]), template)

    def test_photographs_that_give_nothing_are_listed_and_stop_nothing(self) -> None:
        photos = self.photos(1)
        good = zomu.read_picture(photos / "90000/00.jpg")
        wrong = zomu.read_landmarks(photos / "90000/00.csv")
        wrong[12], wrong[13] = wrong[13], wrong[12]
        (photos / "cut.jpg").write_bytes((photos / "90000/00.jpg").read_bytes()[:3000])
        (photos / "text.png").write_text("no picture")
        (photos / "gone.jpg").symlink_to("nowhere.jpg")
        write_png(photos / "grey.png", np.full_like(good, 128))
        for deed, name in enumerate(["raises", "ends"], start=1):
            picture = good.copy()
            picture[0, 0, 0] = deed
            write_png(photos / f"{name}.png", picture)
        status, out, err = self.run_to_end(photos, self.out, "--finder", "finders_of_tests:fussy", "--processes", 2)
        self.assertEqual(status, 0)
        self.assertIn("is lost: its work is done by others", err)
        self.assertEqual(out, f"{self.out}: 4 templates of 10 photographs; 6 left out, see rejects.csv\n")
        reasons = {
            "cut.jpg": "is a damaged JPEG",
            "text.png": "is neither PNG nor JPEG",
            "gone.jpg": "cannot be read: No such file or directory",
            "grey.png": "no face was found",
            "raises.png": "RuntimeError: cannot see",
            "ends.png": "each process that worked on it ended or hung",
        }
        rejects = self.rejects()
        self.assertEqual(rejects.keys(), reasons.keys())
        for name, words in reasons.items():
            self.assertIn(words, rejects[name])

        # The same command has nothing left to do; --again tries those that gave none.
        (photos / "gone.jpg").unlink()
        shutil.copy(photos / "90000/00.jpg", photos / "gone.jpg")
        words = [photos, self.out, "--finder", "finders_of_tests:fussy", "--processes", 1]
        self.assertIn("4 templates of 10 photographs, 10 of them in earlier runs; 6", self.run_to_end(*words)[1])
        self.assertIn("5 templates of 10 photographs, 4 of them in earlier runs; 5", self.run_to_end(*words, "--again")[1])
        self.assertNotIn("gone.jpg", self.rejects())

        zomu.write_landmarks(photos / "90000/00.csv", wrong)
        (photos / "90000/01.csv").write_text("id,x,y\n1,nan,2\n")
        (photos / "90000/02.csv").unlink()
        self.out = self.folder / "by hand"
        _, out, _ = self.run_to_end(photos / "90000", self.out, "--landmarks", "--processes", 1)
        self.assertIn(": 1 templates of 4 photographs; 3 left out", out)
        self.assertIn(zomu.check_landmarks(wrong, *good.shape[1::-1]), self.rejects()["00.jpg"].strip('"'))
        self.assertIn("cannot be read: No such file", self.rejects()["02.jpg"])

    def test_what_cannot_be_one_table_is_refused(self) -> None:
        photos = self.photos(1)
        self.assertEqual(self.run_to_end(photos, self.out, "--processes", 1)[0], 0)
        before = sorted(path.name for path in self.out.rglob("*"))
        other = {"TMPDIR": str(TEMPORARY)}
        empty = self.folder / "empty.csv"
        empty.write_text("person,photo\n")
        nameless = self.folder / "nameless.csv"
        nameless.write_text("person,file\nann,a.jpg\n")
        uses = [
            ([photos, self.out], other, "was begun with another model; name another folder"),
            ([photos, self.out, "--landmarks"], {}, "was begun with another landmarks; name another folder"),
            ([self.folder / "missing", self.out], {}, "is not a folder"),
            ([empty, self.out], {}, "names no photograph"),
            ([nameless, self.out], {}, "has no column photo"),
            ([photos, self.out, "--unchecked"], {}, "--unchecked is for landmarks from files"),
            ([photos, self.out, "--finder", "nobody:find"], {}, "was begun with another landmarks"),
            ([photos, self.folder / "new", "--finder", "nobody:find"], {}, "cannot be imported"),
        ]
        for words, variables, reason in uses:
            with self.subTest(reason):
                status, out, err = self.run_to_end(*words, "--processes", 1, **variables)
                self.assertEqual((status, out), (1, ""), err)
                self.assertIn(reason, err.splitlines()[-1])
                self.assertNotIn("Traceback", err)
        self.assertEqual(sorted(path.name for path in self.out.rglob("*")), before)
        self.assertEqual(self.run_to_end(photos, self.out, "--processes", "0")[0], 2)

    def test_the_commands_of_the_page_do_what_it_says(self) -> None:
        page = (PROJECT / "docs/bulk.md").read_text()
        block = re.search("```sh\n(.*?)```", page, re.DOTALL)[1]
        (self.folder / "examples").symlink_to(PROJECT / "examples")
        command = f'zomu() {{ {sys.executable} -B -m zomu "$@"; }}'
        environment = {**os.environ, **self.variables, "TMPDIR": str(self.folder)}
        done = subprocess.run(
            ["bash", "-euc", f"{command}\n{block}"], cwd=self.folder, env=environment, capture_output=True, text=True
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("build/people: 48 templates of 48 photographs\n", done.stdout)

    def test_names_that_are_no_text_are_kept_apart(self) -> None:
        photos = os.fsencode(self.photos(1))
        for letter in (b"\xe4", b"\xf6"):
            shutil.copy(PEOPLE / "90001/00.jpg", photos + b"/" + letter + b"\n.jpg")
        self.assertEqual(self.run_to_end(os.fsdecode(photos), self.out, "--processes", 1)[0], 0)
        names = {row["photo"] for row in self.rows()}
        self.assertLessEqual({"\\udce4\n.jpg", "\\udcf6\n.jpg"}, names)
        self.assertIn("6 of them in earlier runs", self.run_to_end(os.fsdecode(photos), self.out)[1])


def write_png(path: Path, image: np.ndarray) -> None:
    path.write_bytes(png_of(image[:, :, ::-1]))


if __name__ == "__main__":
    unittest.main()

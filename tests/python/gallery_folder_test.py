"""Galleries in a folder: what is kept, found and deleted, and what is refused."""

import json
import multiprocessing
import sqlite3
import unittest
from datetime import datetime, timedelta, timezone

import numpy as np

import zomu
from compare_many_test import random_templates
from gallery_support import FINGERPRINT, MADE, GalleryTest, bits, brute_force, entries, entry
from zomu_gallery import ApproximateIndex, Gallery, rows_of

PEOPLE = MADE.photographs(0, 300)
PROBES = MADE.photographs(0, 20, 1)


def shifted(found: list[tuple[int, bytes]]) -> list[tuple[int, bytes]]:
    """The store counts from 1."""
    return [(number + 1, score) for number, score in found]


class GalleryFolderTest(GalleryTest):
    def files(self) -> bytes:
        return b"".join(path.read_bytes() for path in self.folder.iterdir())

    def test_another_process_finds_what_the_library_finds(self) -> None:
        self.assertEqual(self.gallery().add(entries(PEOPLE)), 300)
        for rebuilt in (None, "exact", "approximate"):
            if rebuilt:
                self.assertEqual(self.gallery().rebuild(rebuilt), 300)
            gallery = self.gallery()
            self.assertEqual((len(gallery), gallery.kind), (300, rebuilt or "exact"))
            for probe in PROBES:
                found = gallery.search(probe, 7)
                self.assertEqual(bits(found), shifted(brute_force(PEOPLE, probe, 7)))
                self.assertEqual(found[0].face.person, f"person {found[0].face.id - 1}")

    def test_a_photograph_is_not_added_twice(self) -> None:
        gallery = self.gallery()
        self.assertEqual(gallery.add(entries(PEOPLE[:5])), 5)
        self.assertEqual(gallery.add(entries(PEOPLE[:7])), 2)
        self.assertEqual(gallery.add([entry("person 0", PEOPLE[0], face=2)]), 1)
        self.assertEqual(len(gallery), 8)

    def test_an_index_follows_what_others_change(self) -> None:
        for kind in ("exact", "approximate"):
            gallery, other = self.gallery(), self.gallery()
            gallery.add(entries(PEOPLE[:100]))
            gallery.rebuild(kind)
            gallery.search(PROBES[0])
            other.add(entries(PEOPLE[100:], 100))
            for number in range(0, 100, 2):
                other.delete(f"person {number}")
            rows = np.r_[1:100:2, 100:300]
            found = [match.face.person for match in gallery.search(PROBES[1], 5)]
            self.assertEqual(found, [f"person {rows[row]}" for row, _ in brute_force(PEOPLE[rows], PROBES[1], 5)])
            self.assertEqual((len(gallery), len(self.gallery())), (250, 250))
            for number in range(300):
                other.delete(f"person {number}")

    def test_nothing_of_a_deleted_person_is_left_in_the_files(self) -> None:
        for kind in ("exact", "approximate"):
            gallery = self.gallery()
            gallery.add(entries(PEOPLE))
            gallery.rebuild(kind)
            templates = [template.tobytes() for template in PEOPLE]
            row = rows_of(PEOPLE[7:8])
            if kind == "approximate":
                saved = json.loads((self.folder / "gallery.json").read_text())["index"]
                row = ApproximateIndex(saved["parameters"]).completed(row)
            self.assertIn(templates[7], self.files())
            self.assertIn(row.tobytes(), self.files())
            self.assertEqual((gallery.delete("person 7"), gallery.delete("person 7")), (1, 0))
            files = self.files()
            for start in range(0, 2000, 100):
                self.assertNotIn(templates[7][start : start + 16], files)
                self.assertNotIn(row.tobytes()[start : start + 16], files)
            self.assertIn(templates[8], files)
            self.assertNotIn("person 7", [match.face.person for match in self.gallery().search(PEOPLE[7], 300)])
            for number in range(300):
                gallery.delete(f"person {number}")

    def test_what_has_expired_is_not_found_and_then_deleted(self) -> None:
        gallery, now = self.gallery(), datetime.now(timezone.utc)
        gallery.add([entry("late", PEOPLE[0], expires=now - timedelta(seconds=1)), entry("open", PEOPLE[1])])
        gallery.add([entry("soon", PEOPLE[2], expires=now + timedelta(days=1))])
        self.assertEqual({match.face.person for match in gallery.search(PEOPLE[0], 9)}, {"open", "soon"})
        self.assertEqual((gallery.purge(), gallery.purge()), (1, 0))
        self.assertNotIn(PEOPLE[0].tobytes(), self.files())

    def test_what_no_extraction_gives_is_refused_or_left_out(self) -> None:
        gallery = self.gallery()
        gallery.add(entries(PEOPLE[:20]))
        forged = PEOPLE[:2].copy()
        forged[0, 501] *= np.float32(1.01)
        forged[1, 3] = np.nan
        for template in forged:
            with self.assertRaisesRegex(zomu.TemplateError, "^entry 1: "):
                gallery.add([entry("good", PEOPLE[30]), entry("forged", template)])
            with self.assertRaises(zomu.TemplateError):
                gallery.search(template)
        self.assertEqual(len(gallery), 20)
        for number, template in enumerate(forged):
            with sqlite3.connect(self.folder / "templates.sqlite") as connection:
                connection.execute("UPDATE template SET template = ? WHERE id = ?", (template.tobytes(), number + 1))
            connection.close()
        self.assertEqual({match.face.id for match in gallery.search(PEOPLE[0], 20)}, set(range(3, 21)))
        gallery.rebuild()
        self.assertEqual(len(gallery), 18)

    def test_an_index_that_was_altered_is_refused_and_can_be_made_again(self) -> None:
        self.gallery().add(entries(random_templates(50, 1)))
        self.gallery().rebuild()
        (path,) = self.folder.glob("*.faiss")
        content = bytearray(path.read_bytes())
        content[-1000] ^= 1
        for damaged in (bytes(content), content[:-5], b"", None):
            path.unlink() if damaged is None else path.write_bytes(damaged)
            with self.assertRaisesRegex(zomu.Error, "is not the index that was saved; `zomu gallery rebuild"):
                self.gallery().search(PEOPLE[0])
        self.gallery().rebuild()
        self.assertEqual(len(self.gallery()), 50)

    def test_folders_that_are_no_galleries_are_refused(self) -> None:
        with self.assertRaisesRegex(zomu.Error, "is not a gallery; `zomu gallery add` makes one"):
            Gallery(self.folder)
        self.gallery().add(entries(PEOPLE[:3]))
        with self.assertRaisesRegex(zomu.Error, "is not empty"):
            Gallery.create(self.folder, FINGERPRINT)
        for model in ("0" * 64, "ab", ""):
            with self.assertRaisesRegex(zomu.TemplateError, "of a known model"):
                Gallery.create(self.folder / "other", model)
        description = self.folder / "gallery.json"
        good = json.loads(description.read_text())
        for text in ("", "[]", "{}", json.dumps({**good, "format": 2})):
            description.write_text(text)
            with self.assertRaisesRegex(zomu.Error, "gallery.json: is damaged, or of a later version"):
                Gallery(self.folder)

    def test_a_damaged_file_of_templates_is_one_line(self) -> None:
        self.gallery().add(entries(PEOPLE))
        path = self.folder / "templates.sqlite"
        path.write_bytes(path.read_bytes()[:40_000])
        with self.assertRaisesRegex(zomu.Error, "^[^\n]*templates.sqlite: database disk image is malformed$"):
            self.gallery().search(PEOPLE[0])
        path.write_bytes(b"nothing of the kind" * 100)
        with self.assertRaisesRegex(zomu.Error, "templates.sqlite: file is not a database$"):
            self.gallery()

    def test_several_processes_change_one_gallery(self) -> None:
        self.gallery().add(entries(PEOPLE[:20]))
        with multiprocessing.get_context("spawn").Pool(3) as pool:
            parts = [(str(self.folder), start) for start in range(20, 300, 40)]
            self.assertEqual(sum(pool.starmap(_add_and_delete, parts)), 280)
        self.assertEqual(len(self.gallery()), 300 - 7)
        self.assertEqual(len(list(self.folder.glob("*.faiss"))), 1)


def _add_and_delete(folder: str, start: int) -> int:
    with Gallery(folder) as gallery:
        added = gallery.add(entries(PEOPLE[start : start + 40], start))
        gallery.delete(f"person {start}")
        return added


if __name__ == "__main__":
    unittest.main()

"""The editor's guard: the check of landmarks that C and Python share, and photos that are turned upright."""

from __future__ import annotations

import io
import itertools
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import PIL.Image
from editor_page import CSV, KNOWN, PROJECT, EditorPage, distance
from selenium.webdriver.common.by import By

sys.path[:0] = [str(PROJECT / "python"), str(PROJECT / "tests/python")]

from landmark_tables import TABLE, cases, random_table
from picture_writer import as_seen, chunk, exif_of, png_of, with_exif
from zomu.landmark_check import landmark_report

CHECK = """
const values = {nan: NaN, inf: Infinity, '-inf': -Infinity};
return arguments[0].map((line) => {
  const [, width, height, , entries] = line.split(';');
  const points = entries === '' ? [] : entries.split(',').map(
      (entry) => entry.split(' ').map((field) => values[field] ?? Number(field)));
  const {fault, text} = zomu.checkLandmarks(points, Number(width), Number(height));
  return [fault, text];
});
"""

PIXELS = """
const {width, height} = document.getElementById('photo');
const copy = new OffscreenCanvas(width, height).getContext('2d', {willReadFrequently: true});
copy.drawImage(document.getElementById('photo'), 0, 0);
return [width, height, [...copy.getImageData(0, 0, width, height).data]];
"""


class GuardTest(EditorPage):
    def setUp(self) -> None:
        super().setUp()
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_says_what_the_other_checks_say(self) -> None:
        table = self.folder / "table"
        for text in (TABLE.read_text(), random_table(2000, seed=17)):
            table.write_text(text)
            rows = cases(table)
            reports = self.browser.execute_script(CHECK, text.splitlines()[1:])
            self.assertEqual(len(reports), len(rows))
            for (name, width, height, fault, entries), report in zip(rows, reports):
                with self.subTest(name):
                    self.assertEqual(tuple(report), landmark_report(entries, width, height))
                    self.assertIn(fault, ("", report[0]))

    def test_landmarks_with_a_fault_are_saved_only_when_asked_for_twice(self) -> None:
        self.open_photo()
        self.open_csv(CSV, "29 landmarks")
        fault = self.element("fault")
        self.assertFalse(fault.is_displayed())
        text = CSV.read_text()
        path = self.folder / "face.csv"
        path.write_text(text.replace("\n12,", "\n_,").replace("\n13,", "\n12,").replace("\n_,", "\n13,"))
        self.open_csv(path, "29 landmarks")
        self.assertIn("left and right look exchanged: 12 and 13.", fault.text)
        self.keys("s")
        self.wait_for_status("Not saved: left and right look exchanged: 12 and 13.")
        self.assertEqual(list(self.downloads.iterdir()), [])
        self.assertEqual(self.saved()[12], KNOWN[13])
        # Other faults are asked about anew.
        self.element("sides").click()
        self.drag(KNOWN[0], (175.0, 150.0))
        self.assertIn("miss the head model", fault.text)
        self.keys("s")
        self.wait_for_status("Not saved: the landmarks do not lie like a face")
        self.element("csv-file").send_keys(str(CSV))
        self.answer("discard")
        self.wait_for_status("29 landmarks")
        self.assertFalse(fault.is_displayed())
        self.assertEqual(self.saved(), KNOWN)

    def test_photos_are_turned_upright_and_landmarks_mean_what_is_seen(self) -> None:
        dice = np.random.default_rng(2)
        blocks = dice.integers(0, 256, (3, 5, 3), dtype=np.uint8)
        stored = np.kron(blocks, np.ones((16, 16, 1), dtype=np.uint8))
        file = io.BytesIO()
        PIL.Image.fromarray(stored).save(file, "JPEG", quality=95, subsampling=0)
        for orientation, order in itertools.product(range(1, 9), "<>"):
            exif = exif_of(orientation, order)
            files = {
                "photo.png": png_of(stored, chunks=chunk(b"eXIf", exif)),
                "photo.jpg": with_exif(file.getvalue(), exif),
            }
            seen = as_seen(blocks, orientation)
            for name, content in files.items():
                with self.subTest(name, orientation=orientation, order=order):
                    (self.folder / name).write_bytes(content)
                    self.open_photo(self.folder / name)
                    width, height, data = self.browser.execute_script(PIXELS)
                    self.assertEqual((width, height), (16 * seen.shape[1], 16 * seen.shape[0]))
                    pixels = np.array(data).reshape(height, width, 4)[8::16, 8::16, :3]
                    self.assertLess(np.abs(pixels - seen.astype(int)).max(), 8)

    def test_a_click_marks_a_place_of_the_upright_photo(self) -> None:
        with PIL.Image.open(CSV.with_suffix(".png")) as portrait:
            pixels = np.asarray(portrait.convert("RGB"))[:, 40:240]
        (self.folder / "photo.png").write_bytes(
            png_of(np.rot90(pixels), chunks=chunk(b"eXIf", exif_of(6)))
        )
        self.open_photo(self.folder / "photo.png")
        places = {number: (x - 40, y) for number, (x, y) in KNOWN.items()}
        for number in (0, 1, 45):
            self.click(places[number])
        points = self.saved("photo.csv")
        for number in (0, 1, 45):
            self.assertLess(distance(points[number], places[number]), 0.5)
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "#fault:not([hidden])"), [])


if __name__ == "__main__":
    unittest.main()

"""Mirrored photographs without drawing them."""

import tempfile
import unittest
from pathlib import Path

import cv2
import numpy as np

from rendering import landmarks
from rendering.landmarks import IDS
from support import TOOLS, render
from trainer.joint import with_mirrored
from trainer.tools import run_tool

PAIRS = {0: 1, 2: 5, 3: 4, 12: 13, 43: 44, 221: 227, 222: 226, 223: 225, 240: 241, 300: 302, 315: 316}
PARTNERS = {**PAIRS, **{right: left for left, right in PAIRS.items()}}


class Mirrored(unittest.TestCase):
    def test_halves_of_each_network_change_places(self):
        features = np.arange(2 * 640).reshape(2, 640)
        both, labels = with_mirrored(features, np.array([3, 4]))
        self.assertEqual(labels.tolist(), [3, 4, 3, 4])
        self.assertTrue((both[:2] == features).all())
        expected = np.concatenate([features[:, 160:320], features[:, :160], features[:, 480:],
                                   features[:, 320:480]], axis=1)
        self.assertTrue((both[2:] == expected).all())

    def test_a_mirrored_picture_gives_those_features(self):
        """But for a pixel here and there, which rounding puts on the other side."""
        with tempfile.TemporaryDirectory() as temporary:
            home = Path(temporary)
            render(home, "--people", 2, "--photos", 2, "--jitter", 0, 0)
            lines = ["person,photo,landmarks"]
            for person in ("00000", "00001"):
                stem = home / "photos" / person / "00"
                picture = cv2.imread(f"{stem}.jpg")
                flipped = home / f"{person}.png"
                cv2.imwrite(str(flipped), picture[:, ::-1])
                points = np.loadtxt(f"{stem}.csv", delimiter=",", skiprows=1)
                at = {int(name): (picture.shape[1] - 1 - x, y) for name, x, y in points}
                landmarks.write(home / f"{person}.csv", np.array([at[PARTNERS.get(name, name)] for name in IDS]))
                lines += [f"{person},{stem}.jpg,{stem}.csv", f"{person},{flipped},{person}.csv"]
            manifest = home / "both.csv"
            manifest.write_text("\n".join(lines) + "\n", encoding="utf-8")
            run_tool(TOOLS, "zomu-model", "make", home / "~zvplugintmp~")
            run_tool(TOOLS, "zomu-patches", "features", manifest, home / "out", temporary=home)
            features = np.load(home / "out" / "features.npy")
        expected = with_mirrored(features, np.zeros(4))[0][4:]
        for row in (0, 2):
            distance = np.linalg.norm(features[row + 1] - expected[row])
            unlike = np.linalg.norm(features[row + 1] - features[2 - row])
            self.assertLess(distance, 0.5 * unlike)

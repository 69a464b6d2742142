""""Find the points" without the files that it fetches: what the button says, and what is made of what a mesh sees."""

from __future__ import annotations

import importlib.util
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import PIL.Image
from editor_page import ANCHORS, CSV, KNOWN, PHOTO, PROJECT, EditorPage, distance
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.path[:0] = [str(PROJECT / "python")]

from zomu.finders._mapping import landmarks_of
from zomu.finders.mesh_finder import MeshFinder

EDITOR = PROJECT / "tools/landmark-editor"
SPECIFICATION = importlib.util.spec_from_file_location("make_mesh_tables", EDITOR / "make_mesh_tables.py")
make_mesh_tables = importlib.util.module_from_spec(SPECIFICATION)
SPECIFICATION.loader.exec_module(make_mesh_tables)

with PIL.Image.open(PHOTO) as portrait:
    FINDER = MeshFinder()
    MESH = FINDER.meshes(np.asarray(portrait.convert("RGB"))[:, :, ::-1])[0].mesh

# Looks that see faces without a mesh: each face as it is by `steady` pixels, and the other way up by `unsteady`.
SEEN = """
const [faces, steady, unsteady] = arguments;
let looks = 0;
const about = (mesh, angle) => {
  const middle = [0, 1].map((axis) => mesh.reduce((sum, point) => sum + point[axis] / mesh.length, 0));
  return mesh.map(([x, y]) => angle ? [2 * middle[0] - x, 2 * middle[1] - y] : [x, y]);
};
zomu.FaceSearch.prototype.look = async function(square) {
  if (window.hold) await window.hold;
  if (!this.isWanted()) throw new zomu.FaceSearch.Stopped();
  ++looks;
  return faces.map((mesh) => {
    const upright = Math.atan2(mesh[263][1] - mesh[33][1], mesh[263][0] - mesh[33][0]);
    const isOver = Math.cos(upright - square.angle) < 0;
    const by = (looks % 2 ? 1 : -1) * (isOver ? unsteady : steady) / 2;
    return about(mesh, isOver).map(([x, y]) => [x + by, y]);
  });
};
"""


def turned(mesh: np.ndarray) -> np.ndarray:
    """Upside down, at the same place."""
    return 2 * mesh.mean(axis=0) - mesh


class FindingTest(EditorPage):
    def see(self, *meshes: np.ndarray, steady: float = 0.4, unsteady: float = 8) -> None:
        self.browser.execute_script(SEEN, [mesh.tolist() for mesh in meshes], steady, unsteady)

    def test_the_table_of_means_is_that_of_the_python_finder(self) -> None:
        self.assertEqual(
            (EDITOR / "mesh_tables.js").read_text(),
            make_mesh_tables.tables(),
            "run tools/landmark-editor/make_mesh_tables.py",
        )
        script = "return [...zomu.landmarksOfMesh(arguments[0])].map(([id, p]) => [id, p.x, p.y]);"
        mine = {number: (x, y) for number, x, y in self.browser.execute_script(script, MESH.tolist())}
        theirs = landmarks_of(MESH, FINDER._mapping)
        self.assertEqual(set(mine), set(theirs))
        self.assertLess(max(distance(mine[number], theirs[number]) for number in theirs), 1e-9)
        self.assertEqual(self.browser.execute_script("return zomu.meshPartners;"), FINDER._mesh._partners.tolist())

    def test_without_the_mesh_the_button_says_how_to_get_it(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory())) / "editor"
        shutil.copytree(EDITOR, folder, ignore=shutil.ignore_patterns("files.js"))
        self.browser.get((folder / "index.html").as_uri())
        self.assertFalse(self.element("find").is_enabled())
        self.open_photo()
        for _ in range(2):
            self.element("find").click()
            self.wait_for_status("run scripts/fetch-face-mesh.sh once")
            log = [entry["message"] for entry in self.browser.get_log("browser")]
            self.assertTrue(all("ERR_FILE_NOT_FOUND" in line for line in log), log)
        self.assertTrue((PROJECT / "scripts/fetch-face-mesh.sh").exists())
        for number in ANCHORS:
            self.click(KNOWN[number])
        self.wait_for_status("All landmarks are placed")

    def test_the_page_reaches_no_network(self) -> None:
        for page in ("index.html", "mesh_frame.html"):
            self.browser.get((EDITOR / page).as_uri())
            blocked = self.browser.execute_async_script(
                "const done = arguments[0];"
                "document.addEventListener('securitypolicyviolation', (event) => done(event.effectiveDirective));"
                "fetch('http://127.0.0.1:9/').catch(() => setTimeout(() => done('nothing'), 500));"
            )
            self.assertEqual(blocked, "connect-src", page)
            self.browser.get_log("browser")

    def test_a_face_that_is_found_is_edited_like_any_other(self) -> None:
        self.open_photo()
        self.see(MESH)
        self.keys("a")
        self.wait_for_status("Found one face. Look at each of its 25 landmarks")
        found = self.saved()
        expected = landmarks_of(MESH, FINDER._mapping)
        self.assertEqual(set(found), set(expected))
        self.assertLess(max(distance(found[number], expected[number]) for number in found), 0.5)
        self.drag(found[314], KNOWN[314])
        moved = self.saved()
        self.assertLess(distance(moved[314], KNOWN[314]), 0.5)
        self.element("undo").click()
        self.assertEqual(self.saved(), found)

    def test_a_face_upside_down_is_found_the_right_way_up(self) -> None:
        self.open_photo()
        self.see(turned(MESH), unsteady=2)
        self.element("find").click()
        self.wait_for_status("Found one face, upside down.")
        expected = landmarks_of(turned(MESH), FINDER._mapping)
        found = self.saved()
        self.assertLess(max(distance(found[number], expected[number]) for number in found), 0.5)

    def test_what_cannot_be_judged_is_refused_with_the_reason(self) -> None:
        self.open_photo()
        cases = [
            ((), 0, 0, "No face was found"),
            ((MESH,), 8, 30, "refused: it looks different each time"),
            ((MESH,), 1, 1.2, "refused: it is not clear which way up it is"),
            ((MESH + [0, 190],), 0.4, 8, "landmarks lie outside the picture"),
            ((MESH * 0.15,), 0.04, 2, "the eyes are 6."),
        ]
        for meshes, steady, unsteady, words in cases:
            with self.subTest(words):
                self.see(*meshes, steady=steady, unsteady=unsteady)
                self.element("find").click()
                self.wait_for_status(words)
                self.assertFalse(self.element("save-csv").is_enabled())

    def test_of_several_faces_one_is_chosen(self) -> None:
        small = MESH * 0.5
        ways = {
            "a click": lambda: self.click(tuple(small.mean(axis=0))),
            "its number": lambda: self.keys("1"),
        }
        for way, choose in ways.items():
            with self.subTest(way):
                self.browser.get("about:blank")
                self.browser.get((EDITOR / "index.html").as_uri())
                self.open_photo()
                self.see(MESH + [25, 60], small)
                self.element("find").click()
                self.wait_for_status("Found 2 faces. Click the one that you want")
                self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "rect.face")), 2)
                self.click((290.0, 10.0))
                self.wait_for_status("Click inside the frame")
                self.assertFalse(self.element("save-csv").is_enabled())
                choose()
                self.wait_for_status("Took face 1.")
                expected = landmarks_of(small, FINDER._mapping)
                found = self.saved()
                self.assertLess(max(distance(found[number], expected[number]) for number in found), 0.5)

    def test_without_a_choice_all_stays_as_it_is(self) -> None:
        self.open_photo()
        self.open_csv(CSV, "29 landmarks")
        self.see(MESH + [25, 60], MESH * 0.5)
        others = {
            "No face was taken.": lambda: self.keys(Keys.ESCAPE),
            "29 landmarks from portrait.csv": lambda: self.element("csv-file").send_keys(str(CSV)),
        }
        for words, act in others.items():
            with self.subTest(words):
                self.element("find").click()
                self.wait_for_status("Found 2 faces")
                act()
                self.wait_for_status(words)
                self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "rect.face"), [])
                self.assertEqual(self.saved(), KNOWN)

    def test_what_is_found_late_is_not_for_another_photo_or_over_later_work(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        other = Path(shutil.copy(PHOTO, folder / "other.png"))
        meanwhile = {
            "another photo": (lambda: self.element("photo-file").send_keys(str(other)), "Step 1 of 3"),
            "a click": (lambda: self.click(KNOWN[0]), "Landmarks were changed during the search"),
        }
        for name, (act, words) in meanwhile.items():
            with self.subTest(name):
                self.open_photo()
                self.see(MESH)
                self.browser.execute_script("window.hold = new Promise((go) => { window.letGo = go; });")
                self.element("find").click()
                self.wait_for_status("Looking for faces")
                act()
                self.wait_for_status("Step ")
                self.browser.execute_script("letGo()")
                self.wait_for_status(words)
                self.wait_until("return !document.getElementById('find').disabled")
                self.assertFalse(self.element("save-csv").is_enabled())


if __name__ == "__main__":
    unittest.main()

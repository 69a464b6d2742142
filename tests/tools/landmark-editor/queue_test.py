"""The editor's queue: folders, what is asked before anything is lost, photos that open late."""

from __future__ import annotations

import base64
import itertools
import shutil
import tempfile
import time
import unittest
from pathlib import Path

from editor_page import ANCHORS, CSV, KNOWN, PAGE, PHOTO, EditorPage
from selenium.webdriver.common.keys import Keys

# Photos of these names wait until they are let go.
HOLD = """
window.held = {};
const decode = window.createImageBitmap;
window.createImageBitmap = async (file, ...options) => {
  if (file.name.startsWith('slow')) await new Promise((go) => { window.held[file.name] = go; });
  return decode(file, ...options);
};
"""


class QueueTest(EditorPage):
    def setUp(self) -> None:
        super().setUp()
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def photo(self, name: str) -> Path:
        return Path(shutil.copy(PHOTO, self.folder / name))

    def queue(self, *names: str) -> None:
        for name in names:
            self.photo(name)
        self.element("folder").send_keys(str(self.folder))
        self.wait_for_status("Step 1 of 3")

    def place_here(self) -> None:
        for number in ANCHORS:
            self.click(KNOWN[number])
        self.wait_for_status("All landmarks are placed")

    def at(self) -> tuple[str, str]:
        return self.element("queue-name").text, self.element("queue-place").text

    def wait_for_name(self, name: str) -> None:
        for _ in range(100):
            if self.element("queue-name").text == name:
                return
            time.sleep(0.05)
        self.fail(f"at {self.element('queue-name').text}, not at {name}")

    def asked(self) -> bool:
        return self.element("unsaved").is_displayed()

    def closing_is_asked_about(self) -> bool:
        return self.browser.execute_script(
            "return !dispatchEvent(new Event('beforeunload', {cancelable: true}));"
        )

    def test_a_folder_is_walked_through_in_the_order_of_names(self) -> None:
        shutil.copy(CSV, self.folder / "face10.csv")
        (self.folder / "notes.txt").write_text("none of its business")
        (self.folder / "below").mkdir()
        self.photo("below/face3.png")
        self.queue("face2.png", "face10.png", "face1.png")
        self.wait_for_status("Files in sub-folders are left out (1)")
        self.assertEqual(self.at(), ("face1.png", "1 of 3, 2 left to mark"))
        self.assertFalse(self.element("previous-photo").is_enabled())
        self.place_here()
        mine = self.saved("face1.csv")
        self.assertEqual(self.at(), ("face1.png", "1 of 3, 1 left to mark"))
        self.element("next-photo").click()
        self.wait_for_name("face2.png")
        self.wait_for_status("Step 1 of 3")
        self.keys(Keys.PAGE_DOWN)
        self.wait_for_status("29 landmarks from face10.csv")
        self.assertEqual(self.saved("face10.csv"), KNOWN)
        self.assertFalse(self.element("next-photo").is_enabled())
        self.keys(Keys.PAGE_UP)
        self.wait_for_name("face2.png")
        self.keys(Keys.PAGE_UP)
        self.wait_for_status("29 landmarks from face1.csv")
        self.assertEqual(self.saved("face1.csv"), mine)
        self.assertFalse(self.asked())

    def test_several_files_are_a_queue_with_their_landmarks(self) -> None:
        (self.folder / "b.csv").write_text("id,x,y\n0,1\n")
        files = [self.photo("b.png"), self.photo("a.png"), self.folder / "b.csv", CSV, self.photo("b.jpg")]
        self.element("photo-file").send_keys("\n".join(map(str, files)))
        self.wait_for_status("b.png is left out: its landmarks would have the file of b.jpg's")
        self.assertIn("portrait.csv has the name of none of the photos", self.status())
        self.assertEqual(self.at()[0], "a.png")
        self.element("next-photo").click()
        self.wait_for_status("b.csv: line 2: expected id,x,y")
        self.place_here()

    def test_two_quick_steps_are_two_steps(self) -> None:
        self.browser.execute_script(HOLD)
        self.queue("a.png", "slow.png", "z.png")
        self.keys(Keys.PAGE_DOWN, Keys.PAGE_DOWN)
        self.wait_for_name("z.png")
        self.wait_until("return Object.keys(held).length === 1")
        self.browser.execute_script("held['slow.png'](); held = {}")
        self.settle()
        self.assertEqual(self.at()[0], "z.png")
        self.keys(Keys.PAGE_UP)
        self.wait_until("return Object.keys(held).length === 1")
        self.browser.execute_script("held['slow.png']()")
        self.wait_for_name("slow.png")

    def test_what_is_dropped_is_opened(self) -> None:
        self.browser.execute_script(
            "const dataTransfer = new DataTransfer();"
            "for (const [name, text] of arguments[0]) {"
            "  const bytes = Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0));"
            "  dataTransfer.items.add(new File([bytes], name));"
            "}"
            "document.getElementById('stage').dispatchEvent(new DragEvent('drop', {dataTransfer}));",
            [[path.name, base64.b64encode(path.read_bytes()).decode()] for path in (CSV, PHOTO)],
        )
        self.wait_for_status("29 landmarks from portrait.csv")
        self.assertEqual(self.saved(), KNOWN)

    def test_nothing_unsaved_is_lost_without_a_question(self) -> None:
        other = self.photo("z.png")
        ways = {
            "next": lambda: self.element("next-photo").click(),
            "previous": lambda: self.keys(Keys.PAGE_UP),
            "another": lambda: self.element("photo-file").send_keys(str(other)),
            "a folder": lambda: self.element("folder").send_keys(str(self.folder)),
            "landmarks": lambda: self.element("csv-file").send_keys(str(CSV)),
        }
        for way, clicks in itertools.product(ways, (1, 3)):
            with self.subTest(way, clicks=clicks):
                self.browser.get("about:blank")
                self.browser.get(PAGE)
                self.queue("a.png", "b.png", "c.png")
                self.element("next-photo").click()
                self.wait_for_name("b.png")
                self.assertFalse(self.closing_is_asked_about())
                for number in ANCHORS[:clicks]:
                    self.click(KNOWN[number])
                self.wait_for_status("Step 2" if clicks == 1 else "All landmarks")
                self.assertTrue(self.closing_is_asked_about())
                ways[way]()
                self.answer("stay")
                self.assertEqual(self.at()[0], "b.png")
                self.assertTrue(self.element("again").is_enabled())
                self.assertTrue(self.closing_is_asked_about())
                ways[way]()
                if clicks == 3:
                    self.answer("save")
                    self.wait_for_file("b.csv")
                else:
                    self.answer("discard")
                self.wait_for_status("29 landmarks from portrait.csv" if way == "landmarks" else "Step 1 of 3")

    def wait_for_file(self, name: str) -> None:
        for _ in range(100):
            if (self.downloads / name).exists():
                (self.downloads / name).unlink()
                return
            time.sleep(0.05)
        self.fail(f"{name} was not saved")

    def test_what_would_be_refused_is_not_saved_by_the_question(self) -> None:
        self.queue("a.png", "b.png")
        self.place_here()
        self.drag(KNOWN[0], (175.0, 150.0))
        self.element("next-photo").click()
        self.answer("save")
        self.wait_for_status("Not saved: the landmarks do not lie like a face")
        self.assertEqual(self.at()[0], "a.png")
        self.assertEqual(list(self.downloads.iterdir()), [])

    def test_a_photo_that_opens_late_never_replaces_a_later_one(self) -> None:
        self.browser.execute_script(HOLD)
        self.element("photo-file").send_keys(str(self.photo("slow1.png")))
        self.element("photo-file").send_keys(str(self.photo("slow2.png")))
        self.wait_until("return Object.keys(held).length === 2")
        self.browser.execute_script("held['slow2.png']()")
        self.wait_for_status("Step 1 of 3")
        self.place_here()
        self.browser.execute_script("held['slow1.png']()")
        self.settle()
        self.assertIn("All landmarks are placed", self.status())
        self.saved("slow2.csv")

    def test_what_was_marked_while_a_photo_opens_is_asked_about(self) -> None:
        self.browser.execute_script(HOLD)
        self.queue("a.png", "slow.png")
        self.element("next-photo").click()
        self.wait_until("return Object.keys(held).length === 1")
        self.place_here()
        self.browser.execute_script("held['slow.png']()")
        self.answer("stay")
        self.assertEqual(self.at()[0], "a.png")
        self.saved("a.csv")

    def test_landmarks_that_are_read_late_are_not_those_of_the_next_photo(self) -> None:
        self.queue("a.png", "b.png")
        self.browser.execute_script(
            "const read = File.prototype.text;"
            "File.prototype.text = async function() {"
            "  await new Promise((go) => { window.letGo = go; });"
            "  return read.call(this);"
            "};"
        )
        self.element("csv-file").send_keys(str(CSV))
        self.wait_until("return window.letGo !== undefined")
        self.element("next-photo").click()
        self.wait_for_name("b.png")
        self.browser.execute_script("letGo()")
        self.settle()
        self.assertFalse(self.element("save-csv").is_enabled())

    def settle(self) -> None:
        """Whatever has been let go has time to do harm."""
        time.sleep(0.3)

    def test_the_whole_list_is_seen_at_1280_by_860(self) -> None:
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
        self.queue("a.png", "b.png")
        for height in (860, 720):  # of the page; of a page in a window of that size
            with self.subTest(height=height):
                self.browser.execute_cdp_cmd(
                    "Emulation.setDeviceMetricsOverride",
                    {"width": 1280, "height": height, "deviceScaleFactor": 1, "mobile": False},
                )
                self.assert_list_is_seen()
        self.place_here()
        self.assert_list_is_seen()

    def assert_list_is_seen(self) -> None:
        seen = self.browser.execute_script(
            "return [...document.querySelectorAll('#list .option, #sides')].map((part) => {"
            "  const {left, top, bottom, width} = part.getBoundingClientRect();"
            "  const at = (y) => part.contains(document.elementFromPoint(left + width / 2, y));"
            "  return [part.id, bottom <= innerHeight && at(top + 2) && at(bottom - 2)];"
            "});"
        )
        self.assertEqual(len(seen), len(KNOWN) + 1)
        self.assertEqual([name for name, whole in seen if not whole], [])


if __name__ == "__main__":
    unittest.main()

"""The landmark editor in headless Chromium, as a person meets it: clicks, drags, keys, files, status."""

from __future__ import annotations

import os
import tempfile
import time
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

PROJECT = Path(os.environ["ZOMU_TEST_PROJECT"])
PAGE = (PROJECT / "tools/landmark-editor/index.html").as_uri()
PHOTO = PROJECT / "examples/data/portrait.png"
CSV = PROJECT / "examples/data/portrait.csv"
ANCHORS = (0, 1, 45)

Points = dict[int, tuple[float, float]]


def points_of(text: str) -> Points:
    lines = text.split("\n")
    assert lines[0] == "id,x,y" and lines[-1] == "", text
    rows = [line.split(",") for line in lines[1:-1]]
    return {int(number): (float(x), float(y)) for number, x, y in rows}


def distance(a: tuple[float, float], b: tuple[float, float]) -> float:
    return ((a[0] - b[0]) ** 2 + (a[1] - b[1]) ** 2) ** 0.5


KNOWN = points_of(CSV.read_text())
EYE_DISTANCE = distance(KNOWN[0], KNOWN[1])


class EditorPage(unittest.TestCase):
    """The page freshly loaded for each test, and nothing in the browser's log at its end."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.downloads = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):
            options.add_argument(word)
        options.add_argument("--window-size=1280,900")
        options.add_argument("--enable-unsafe-swiftshader")  # draws without a graphics card
        options.add_argument("--host-resolver-rules=MAP * ~NOTFOUND")  # there is no network
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        service = webdriver.chrome.service.Service("/usr/bin/chromedriver")
        cls.browser = cls.enterClassContext(webdriver.Chrome(service=service, options=options))
        cls.browser.execute_cdp_cmd(
            "Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(cls.downloads)}
        )

    def setUp(self) -> None:
        for file in self.downloads.iterdir():
            file.unlink()
        self.browser.get(PAGE)
        self.addCleanup(self.assert_quiet)

    def assert_quiet(self) -> None:
        self.assertEqual(self.browser.get_log("browser"), [])

    def element(self, name: str):
        return self.browser.find_element(By.ID, name)

    def status(self) -> str:
        return self.element("status").text

    def wait_for_status(self, words: str, seconds: float = 5) -> None:
        for _ in range(round(20 * seconds)):
            if words in self.status():
                return
            time.sleep(0.05)
        self.fail(f"no {words!r} in {self.status()!r}")

    def wait_until(self, script: str) -> None:
        for _ in range(100):
            if self.browser.execute_script(script):
                return
            time.sleep(0.05)
        self.fail(f"never: {script}")

    def open_photo(self, path: Path = PHOTO) -> None:
        self.forget_status()
        self.element("photo-file").send_keys(str(path))
        self.wait_for_status("Step 1 of 3")

    def open_csv(self, path: Path, words: str) -> None:
        self.forget_status()
        self.element("csv-file").send_keys(str(path))
        self.wait_for_status(words)

    def forget_status(self) -> None:
        """What was said before is not what comes now."""
        self.browser.execute_script("document.getElementById('status').textContent = '';")

    def answer(self, name: str) -> None:
        """The question about what is not saved: save, discard or stay."""
        for _ in range(100):
            if self.element("unsaved").is_displayed():
                break
            time.sleep(0.05)
        self.element(f"unsaved-{name}").click()

    def screen(self, point: tuple[float, float]) -> tuple[int, int]:
        """Where a place of the photo is, from the middle of the stage."""
        zoom, left, top, width, height = self.browser.execute_script(
            "const m = new DOMMatrix(getComputedStyle(document.getElementById('photo')).transform);"
            "const s = document.getElementById('stage');"
            "return [m.a, m.e, m.f, s.clientWidth, s.clientHeight];"
        )
        x, y = (point[0] + 0.5) * zoom + left, (point[1] + 0.5) * zoom + top
        return round(x - width / 2), round(y - height / 2)

    def click(self, point: tuple[float, float]) -> None:
        mouse = ActionChains(self.browser, duration=0)
        mouse.move_to_element_with_offset(self.element("stage"), *self.screen(point))
        mouse.click().perform()

    def drag(self, start: tuple[float, float], end: tuple[float, float]) -> None:
        stage = self.element("stage")
        mouse = ActionChains(self.browser, duration=10)
        mouse.move_to_element_with_offset(stage, *self.screen(start)).click_and_hold()
        mouse.move_to_element_with_offset(stage, *self.screen(end)).release().perform()

    def place(self) -> None:
        self.open_photo()
        for number in ANCHORS:
            self.click(KNOWN[number])
        self.wait_for_status("All landmarks are placed")

    def keys(self, *keys: str) -> None:
        ActionChains(self.browser, duration=0).send_keys(*keys).perform()

    def walk(self, start: tuple[float, float], end: tuple[float, float]) -> None:
        """From place to place by arrow keys: tens, ones and tenths of pixels."""
        for axis, (less, more) in enumerate(((Keys.ARROW_LEFT, Keys.ARROW_RIGHT), (Keys.ARROW_UP, Keys.ARROW_DOWN))):
            tenths = round(10 * (end[axis] - start[axis]))
            key = more if tenths > 0 else less
            tens, rest = divmod(abs(tenths), 100)
            ones, tenth = divmod(rest, 10)
            for modifier, count in ((Keys.SHIFT, tens), (None, ones), (Keys.ALT, tenth)):
                chain = ActionChains(self.browser, duration=0)
                if modifier:
                    chain.key_down(modifier)
                chain.send_keys(key * count)
                if modifier:
                    chain.key_up(modifier)
                chain.perform()

    def saved(self, name: str = "portrait.csv") -> Points:
        path = self.downloads / name
        path.unlink(missing_ok=True)
        self.keys("s")
        lines = 0
        for _ in range(200):
            text = path.read_text() if path.exists() else ""
            lines = text.count("\n")
            if lines in (26, 30):  # the header and 25 or 29 landmarks
                return points_of(text)
            time.sleep(0.05)
        self.fail(f"{lines} lines were saved; {self.status()}")

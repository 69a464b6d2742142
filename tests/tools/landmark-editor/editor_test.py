"""The landmark editor: real clicks and keys on a real photo, and the CSV they give."""

from __future__ import annotations

import re
import unittest

from editor_page import ANCHORS, CSV, EYE_DISTANCE, KNOWN, PAGE, PROJECT, EditorPage, distance
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

SIDES = (240, 241, 315, 316)


def contrast(a: str, b: str) -> float:
    """The ratio of two colours' luminances, as accessibility rules define it."""

    def luminance(colour: str) -> float:
        channels = [int(value) / 255 for value in re.findall(r"\d+", colour)[:3]]
        linear = [c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in channels]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    low, high = sorted((luminance(a), luminance(b)))
    return (high + 0.05) / (low + 0.05)


class EditorTest(EditorPage):
    def test_three_clicks_place_all_landmarks(self) -> None:
        self.place()
        points = self.saved()
        self.assertEqual(set(points), set(KNOWN))
        for number in ANCHORS:
            self.assertLess(distance(points[number], KNOWN[number]), 0.5)
        misses = [distance(points[number], KNOWN[number]) / EYE_DISTANCE for number in KNOWN]
        self.assertLess(max(misses), 0.25)
        self.assertLess(sum(misses) / len(misses), 0.08)

    def test_a_turned_head_is_met_as_well(self) -> None:
        # The same head model in another place, turned in the plane: clicks alone decide.
        code = "return [...zomu.placeLandmarks(new Map(arguments[0]))].map(([i, p]) => [i, p.x, p.y]);"

        def placed(turn):
            anchors = [[number, dict(zip("xy", turn(KNOWN[number])))] for number in ANCHORS]
            return {i: (x, y) for i, x, y in self.browser.execute_script(code, anchors)}

        upright = placed(lambda p: p)
        upside = placed(lambda p: (1000 - 2 * p[0], 500 - 2 * p[1]))
        for number, (x, y) in upright.items():
            self.assertLess(distance(upside[number], (1000 - 2 * x, 500 - 2 * y)), 0.01)

    def test_everything_can_be_undone_and_redone(self) -> None:
        self.place()
        placed = self.saved()
        self.drag(placed[9], KNOWN[9])
        moved = self.saved()
        self.assertNotEqual(moved, placed)
        self.element("undo").click()
        self.assertEqual(self.saved(), placed)
        self.element("redo").click()
        self.assertEqual(self.saved(), moved)
        control = ActionChains(self.browser).key_down(Keys.CONTROL)
        control.send_keys("zz").key_up(Keys.CONTROL).perform()
        self.assertIn("Step 3 of 3", self.status())
        self.assertFalse(self.element("save-csv").is_enabled())
        control = ActionChains(self.browser).key_down(Keys.CONTROL).key_down(Keys.SHIFT)
        control.send_keys("zz").key_up(Keys.SHIFT).key_up(Keys.CONTROL).perform()
        self.assertEqual(self.saved(), moved)

    def test_landmarks_are_dragged_to_their_places_and_the_rest_follows_when_asked(self) -> None:
        self.place()
        before = self.saved()
        moved = (223, 225, 314, 240, 241)
        for number in moved:
            self.drag(before[number], KNOWN[number])
            self.assertIn(f"Moved {number}: ", self.status())
        dragged = self.saved()
        unmoved = set(KNOWN) - set(moved)
        self.assertEqual({n: dragged[n] for n in unmoved}, {n: before[n] for n in unmoved})
        self.element("refit").click()
        points = self.saved()
        for number in moved:
            self.assertLess(distance(points[number], KNOWN[number]), 0.3)
        self.assertTrue(all(points[number] != before[number] for number in unmoved - set(ANCHORS)))

    def test_works_from_a_keyboard_alone(self) -> None:
        self.open_photo()
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "stage")
        place = (150.0, 150.0)  # the cross starts in the middle
        for number in ANCHORS:
            self.walk(place, KNOWN[number])
            self.keys(Keys.ENTER)
            place = KNOWN[number]
        self.wait_for_status("All landmarks are placed")
        points = self.saved()
        self.assertEqual({n: points[n] for n in ANCHORS}, {n: KNOWN[n] for n in ANCHORS})

        self.keys("n", "n")
        self.assertIn("Landmark 223: eyes, outer corner, left", self.status())
        rounded = tuple(round(value, 1) for value in points[223])
        self.walk(rounded, KNOWN[223])
        self.keys("p", "p", "p")
        self.assertIn("Landmark 316", self.status())
        self.assertLess(distance(self.saved()[223], KNOWN[223]), 0.08)

        for key, larger in (("+", True), ("-", False), ("-", False), ("0", None)):
            before = int(re.sub(r"\D", "", self.element("zoom").text))
            self.keys(key)
            after = int(re.sub(r"\D", "", self.element("zoom").text))
            if larger is not None:
                self.assertEqual(after > before, larger)

    def test_the_focus_walks_through_everything_and_is_seen(self) -> None:
        self.place()
        self.browser.execute_script("arguments[0].focus({focusVisible: true})", self.element("open-photo"))
        order = []
        for _ in range(20):
            active = self.browser.switch_to.active_element
            name = active.get_attribute("id") or active.tag_name
            if name == "body":
                break
            order.append(name)
            self.assertEqual(active.value_of_css_property("outline-style"), "solid", name)
            self.assertEqual(active.value_of_css_property("outline-width"), "3px", name)
            self.keys(Keys.TAB)
        expected = ["open-photo", "open-folder", "open-csv", "save-csv", "undo", "zoom-out", "zoom-in", "zoom-fit"]
        expected += ["stage", "find", "again", "refit", "summary", "list", "sides"]
        self.assertEqual(order, expected)

    def test_the_list_is_a_list_box(self) -> None:
        self.place()
        box = self.element("list")
        self.browser.execute_script("arguments[0].focus()", box)
        self.keys(Keys.END, Keys.ARROW_UP)
        self.assertEqual(box.get_attribute("aria-activedescendant"), "landmark-315")
        chosen = self.browser.find_elements(By.CSS_SELECTOR, "[aria-selected=true]")
        self.assertEqual([option.get_attribute("id") for option in chosen], ["landmark-315"])
        self.assertIn("315", self.element("guide-name").text)
        self.keys(Keys.ENTER)
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "stage")
        self.assertEqual(self.element("status").get_attribute("aria-live"), "polite")

    def test_a_file_of_landmarks_comes_back_as_it_was(self) -> None:
        self.open_photo()
        self.open_csv(CSV, "29 landmarks")
        self.assertEqual(self.saved(), KNOWN)

    def test_the_sides_of_the_head_may_be_left_out(self) -> None:
        self.place()
        before = self.saved()
        self.element("sides").click()
        points = self.saved()
        self.assertEqual(points, {n: p for n, p in before.items() if n not in SIDES})
        self.browser.get(PAGE)
        self.open_photo()
        self.open_csv(self.downloads / "portrait.csv", "25 landmarks")
        self.assertFalse(self.element("sides").is_selected())
        self.element("sides").click()
        self.assertEqual(set(self.saved()), set(KNOWN))

    def test_a_bad_file_is_refused_in_words(self) -> None:
        self.open_photo()
        text = CSV.read_text()
        cases = {
            text.replace("12,123.2", "12,left"): "line 12: x is not a number",
            text.replace("\n314,", "\n313,"): "there is no landmark 313",
            text + "0,1,2\n": "landmark 0 already appears in line 2",
            text.split("\n3,")[0] + "\n": "22 landmarks are missing, the first is 3",
            "id,x,y\n": "holds no landmarks",
        }
        path = self.downloads / "bad.csv"
        for content, words in cases.items():
            path.write_text(content)
            self.open_csv(path, words)
        self.assertIn("Eye on the left", self.browser.find_element(By.CSS_SELECTOR, ".next").text)

    def test_places_are_the_same_at_any_zoom(self) -> None:
        self.open_photo()
        for _ in range(4):
            self.keys("+")
        target = (150.0, 150.0)
        self.click(target)
        self.click((170.0, 151.0))
        self.click((160.0, 170.0))
        points = self.saved()
        self.assertLess(distance(points[0], target), 0.2)
        self.assertLess(distance(points[1], (170.0, 151.0)), 0.2)

    def test_text_can_be_read_in_light_and_dark(self) -> None:
        seen = set()
        for scheme in ("light", "dark"):
            self.browser.execute_cdp_cmd(
                "Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
            )
            self.place()
            colours = self.browser.execute_script(
                "const card = getComputedStyle(document.querySelector('.panel')).backgroundColor;"
                "return [...document.querySelectorAll("
                "    'h1, h2, .steps li, .hint, .guide-name, .option span, .group-name, .status, dd')]"
                "  .map((e) => [e.textContent, getComputedStyle(e).color, card]);"
            )
            self.assertGreater(len(colours), 60)
            for text, ink, card in colours:
                self.assertGreater(contrast(ink, card), 4.5, f"{scheme}: {text}")
            primary = self.element("save-csv")
            ink, back = (primary.value_of_css_property(n) for n in ("color", "background-color"))
            self.assertGreater(contrast(ink, back), 4.5)
            seen.add(colours[0][2])
            self.browser.get(PAGE)
        self.assertEqual(len(seen), 2)
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})

    def test_the_head_model_is_that_of_the_library(self) -> None:
        rows = self.browser.execute_script("return zomu.landmarks.map((l) => [l.id, ...l.at]);")
        source = (PROJECT / "src/patches/landmarks.cpp").read_text()
        row = re.compile(r"\{(-?[\d.]+)F, (-?[\d.]+)F, (-?[\d.]+)F\},\s*// (\d+)")
        expected = {int(m[4]): [float(m[1]), float(m[2]), float(m[3])] for m in row.finditer(source)}
        self.assertEqual({number: at for number, *at in rows}, expected)


if __name__ == "__main__":
    unittest.main()

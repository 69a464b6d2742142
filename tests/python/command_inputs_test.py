"""What each subcommand says of pictures of every kind, and its exit status."""

import json
import shutil
import unittest
from pathlib import Path

import numpy as np

from command_support import ANN, ANN_AGAIN, CommandTest, accepted_pictures, refused_pictures, zomu_command
from support import LANDMARKS

# What fails a subcommand, and what it does with several faces.
USES = {
    "extract": (["extract", "{picture}", "{folder}/out.zomu"], 1, True),
    "verify, first": (["verify", "{picture}", ANN], 2, True),
    "verify, second": (["verify", ANN, "{picture}"], 2, True),
    "search": (["search", "{picture}", "{folder}/gallery"], 1, True),
    "find": (["find", "{picture}"], 1, False),
    "draw": (["draw", "{picture}", "{folder}/out.png"], 1, False),
}


class CommandInputsTest(CommandTest):
    def setUp(self) -> None:
        super().setUp()
        (self.folder / "gallery").mkdir()

    def write(self, name: str, content: bytes) -> Path:
        path = self.folder / name
        path.write_bytes(content)
        return path

    def test_what_is_refused_is_named_in_one_line_and_is_never_a_match(self) -> None:
        for name, (content, words) in refused_pictures().items():
            path = self.write(name, content)
            for use, (template, status, wants_one_face) in USES.items():
                if name == "five.png" and not wants_one_face:
                    continue
                with self.subTest(name, use=use):
                    arguments = [str(word).format(picture=path, folder=self.folder) for word in template]
                    said = zomu_command(*arguments)
                    self.assertEqual((said.status, said.out), (status, ""), said.err)
                    self.assert_one_line(said.err)
                    self.assertTrue(said.err.startswith(f"zomu {arguments[0]}: {path}: "), said.err)
                    self.assertIn(words, said.err)
                    self.assertFalse((self.folder / "out.zomu").exists() or (self.folder / "out.png").exists())

    def test_five_faces_are_found_and_drawn(self) -> None:
        path = self.write("five.png", refused_pictures()["five.png"][0])
        said = zomu_command("find", path, "--json", "--csv", self.folder / "csv")
        faces = json.loads(said.out)[0]["faces"]
        self.assertEqual((said.status, len(faces)), (0, 5))
        names = sorted(file.name for file in (self.folder / "csv").iterdir())
        self.assertEqual(names, ["five-2.csv", "five-3.csv", "five-4.csv", "five-5.csv", "five.csv"])
        self.assertEqual(zomu_command("draw", path, self.folder / "out.png").out, f"{self.folder}/out.png: 5 faces\n")

    def test_the_face_is_found_at_one_place_in_files_of_every_kind(self) -> None:
        expected = np.loadtxt(LANDMARKS, delimiter=",", skiprows=1)
        by_hand = {str(int(number)): (x, y) for number, x, y in expected}
        for name, content in accepted_pictures().items():
            said = zomu_command("find", self.write(name, content), "--json")
            with self.subTest(name):
                self.assertEqual((said.status, said.err), (0, ""))
                (result,) = json.loads(said.out)
                self.assertEqual((result["width"], result["height"], len(result["faces"])), (300, 300, 1))
                for number in ("0", "1", "12", "13"):
                    found = result["faces"][0]["landmarks"][number]
                    self.assertLess(np.hypot(*np.subtract(found, by_hand[number])), 8)

    def test_what_several_pictures_give_is_kept_although_one_is_refused(self) -> None:
        path = self.write("moving.gif", refused_pictures()["moving.gif"][0])
        said = zomu_command("find", ANN, path, ANN_AGAIN)
        self.assertEqual(said.status, 1)
        self.assertEqual([line.split(": ")[0] for line in said.out.splitlines()], [str(ANN), str(ANN_AGAIN)])
        self.assertEqual(said.err, f"zomu find: {path}: is neither PNG nor JPEG\n")
        results = json.loads(zomu_command("find", ANN, path, "--json").out)
        self.assertEqual([result.get("error") for result in results], [None, "is neither PNG nor JPEG"])

    def test_folders_are_worked_through_although_some_pictures_are_refused(self) -> None:
        people = self.folder / "people"
        (people / "ann").mkdir(parents=True)
        (people / "bob").mkdir()
        for source, name in ((ANN, "ann/1.jpg"), (ANN_AGAIN, "ann/2.jpg"), (ANN, "bob/1.jpg")):
            shutil.copy(source, people / name)
        (people / "ann/notes.txt").write_text("no picture, and not taken for one")
        refused = {name: words for name, (_, words) in refused_pictures().items()}
        for name in refused:
            (people / "bob" / name).write_bytes(refused_pictures()[name][0])

        said = zomu_command("manifest", people, self.folder / "out", "--json")
        done = json.loads(said.out)
        self.assertEqual((said.status, done["people"], done["photographs"]), (0, 1, 2))
        reasons = {Path(reject["file"]).name: reject["reason"] for reject in done["left_out"]}
        self.assertEqual(reasons.pop("1.jpg"), "the only usable photograph of bob")
        self.assertEqual(sorted(reasons), sorted(refused))
        for name, words in refused.items():
            self.assertIn(words, reasons[name])

        # A group photo has faces to compare.
        refused.pop("five.png")
        for words in (["search", ANN, people, "--top", "3"], ["cluster", people]):
            said = zomu_command(*words, "--json")
            done = json.loads(said.out)
            self.assertEqual(said.status, 0, said.err)
            self.assertEqual(sorted(Path(reject["file"]).name for reject in done["left_out"]), sorted(refused))
            self.assertEqual(said.err.count("; left out\n"), len(refused))

    def test_a_folder_without_faces_is_an_error(self) -> None:
        empty, missing = self.folder / "gallery", self.folder / "missing"
        cases = [
            (["search", ANN, empty], "there is no face in this folder that could be compared"),
            (["cluster", empty], "there is no face in this folder that could be compared"),
            (["manifest", empty, self.folder / "out"], "no folder in it has photographs"),
            (["search", ANN, missing], f"{missing}: is not a folder"),
            (["cluster", missing], f"{missing}: is not a folder"),
            (["manifest", missing, self.folder / "out"], f"{missing}: is not a folder"),
        ]
        for words, expected in cases:
            said = zomu_command(*words)
            with self.subTest(expected):
                self.assertEqual(said.status, 1)
                self.assert_one_line(said.err)
                self.assertIn(expected, said.err)


if __name__ == "__main__":
    unittest.main()

"""What each subcommand says of pictures of every kind, and its exit status."""

import json
import shutil
import unittest
from pathlib import Path

import numpy as np

from command_support import ANN, ANN_AGAIN, CommandTest, accepted_pictures, refused_pictures, zomu_command
from support import LANDMARKS

# What each subcommand says of a picture: the exit status, words on standard output, words on standard error.
# {name} is the picture, {words} what the table of pictures says of it. Lists of the folder have two pictures of Ann.
REFUSED = "{name}: {words}\n"
LEFT_OUT = "{name}: {words}; left out\n"
SAID = {
    "find": {"refused": (1, "", REFUSED), "read": (0, "{name}: face 1 of 1: ", ""), "five": (0, "face 5 of 5: ", "")},
    "extract": {"refused": (1, "", REFUSED), "read": (0, "/out.zomu\n", "")},
    "verify": {"refused": (2, "", REFUSED), "read": (1, "different people, if you trust this model", "")},
    "search": {"refused": (1, "", REFUSED), "read": (0, "2 faces compared.", "")},
    "draw": {"refused": (1, "", REFUSED), "read": (0, "/out.png: 1 face\n", ""), "five": (0, "/out.png: 5 faces\n", "")},
    "cluster": {
        "refused": (0, "2 faces, 1 people", LEFT_OUT), "read": (0, "3 faces, 2 people", ""), "five": (0, "7 faces", ""),
    },
    "manifest": {
        "refused": (0, "2 photographs of 1 people; 1 left out", LEFT_OUT),
        "read": (0, "3 photographs of 1 people; 0 left out", ""),
    },
}
LINES = {
    "find": ["{picture}"],
    "extract": ["{picture}", "{folder}/out.zomu"],
    "verify": ["{picture}", "{folder}/stored/1.zomu"],
    "search": ["{picture}", "{folder}/stored"],
    "draw": ["{picture}", "{folder}/out.png"],
    "cluster": ["{folder}/all"],
    "manifest": ["{folder}/people", "{folder}/out"],
}


class CommandInputsTest(CommandTest):
    def write(self, name: str, content: bytes) -> Path:
        path = self.folder / name
        path.write_bytes(content)
        return path

    def test_what_each_subcommand_says_of_pictures_of_every_kind(self) -> None:
        for number, picture in enumerate((ANN, ANN_AGAIN), start=1):
            (self.folder / "stored").mkdir(exist_ok=True)
            zomu_command("extract", picture, self.folder / f"stored/{number}.zomu")
            (self.folder / "people/ann").mkdir(parents=True, exist_ok=True)
            shutil.copy(picture, self.folder / "people/ann" / f"{number}.jpg")
        shutil.copytree(self.folder / "stored", self.folder / "all")
        rows = [(name, "refused", *row) for name, row in refused_pictures().items()]
        rows += [(name, "read", content, "") for name, content in accepted_pictures().items()]
        for name, kind, content, words in rows:
            places = {"cluster": self.write(f"all/{name}", content), "manifest": self.write(f"people/ann/{name}", content)}
            picture = self.write(name, content)
            for command, line in LINES.items():
                is_group = name == "five.png" and "five" in SAID[command]
                status, out, err = SAID[command]["five" if is_group else kind]
                with self.subTest(name, command=command):
                    said = zomu_command(command, *(word.format(picture=picture, folder=self.folder) for word in line))
                    path = places.get(command, picture)
                    self.assertEqual(said.status, status, said.err)
                    self.assertIn(out.format(name=path), said.out)
                    self.assertEqual(said.err, f"zomu {command}: {err.format(name=path, words=words)}" if err else "")
                    made = [(self.folder / name).exists() for name in ("out.zomu", "out.png")]
                    self.assertEqual(made, [command == "extract" and not err, command == "draw" and not err])
                for made in ("out.zomu", "out.png"):
                    (self.folder / made).unlink(missing_ok=True)
                shutil.rmtree(self.folder / "out", ignore_errors=True)
            for path in places.values():
                path.unlink()

    def test_the_second_picture_of_two_is_named_as_well(self) -> None:
        for name, (content, words) in list(refused_pictures().items())[::3]:
            path = self.write(name, content)
            said = zomu_command("verify", ANN, path)
            self.assertEqual(said, (2, "", f"zomu verify: {path}: {words}\n"))

    def test_five_faces_are_found_and_drawn(self) -> None:
        path = self.write("five.png", refused_pictures()["five.png"][0])
        said = zomu_command("find", path, "--json", "--csv", self.folder / "csv")
        faces = json.loads(said.out)[0]["faces"]
        self.assertEqual((said.status, len(faces)), (0, 5))
        names = sorted(file.name for file in (self.folder / "csv").iterdir())
        self.assertEqual(names, ["five-2.csv", "five-3.csv", "five-4.csv", "five-5.csv", "five.csv"])

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
        reason = "is neither PNG nor JPEG but GIF; convert it"
        self.assertEqual(said.err, f"zomu find: {path}: {reason}\n")
        results = json.loads(zomu_command("find", ANN, path, "--json").out)
        self.assertEqual([result.get("error") for result in results], [None, reason])

    def test_folders_are_worked_through_although_some_pictures_are_refused(self) -> None:
        people = self.folder / "people"
        for source, name in ((ANN, "ann/1.jpg"), (ANN_AGAIN, "ann/2.jpg"), (ANN, "bob/1.jpg")):
            (people / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, people / name)
        (people / "ann/notes.txt").write_text("no picture, and not taken for one")
        refused = {name: words for name, (_, words) in refused_pictures().items()}
        for name in refused:
            (people / "bob" / name).write_bytes(refused_pictures()[name][0])

        said = zomu_command("manifest", people, self.folder / "out", "--json")
        done = json.loads(said.out)
        self.assertEqual((said.status, done["people"], done["photographs"]), (0, 1, 2))
        reasons = {Path(reject["file"]).name: reject["reason"] for reject in done["left_out"]}
        self.assertEqual(reasons, {**refused, "1.jpg": "the only usable photograph of bob"})

        # A group photo has faces to compare.
        refused.pop("five.png")
        done = json.loads(zomu_command("search", ANN, people, "--json").out)
        reasons = {Path(reject["file"]).name: reject["reason"] for reject in done["left_out"]}
        self.assertEqual((reasons, done["compared"]), (refused, 8))

    def test_a_folder_without_faces_is_an_error(self) -> None:
        empty, missing = self.folder / "empty", self.folder / "missing"
        empty.mkdir()
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

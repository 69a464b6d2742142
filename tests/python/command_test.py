"""What the subcommands print and write, and how they end."""

import json
import shutil
import unittest

import numpy as np

import zomu
from PIL import Image
from command_support import ANN, ANN_AGAIN, BOB, PEOPLE, CommandTest, zomu_command
from support import LANDMARKS, PICTURE, TOOLS, run
from zomu.thresholds import DEMONSTRATION_MODEL

class CommandOutputTest(CommandTest):
    def test_verify_says_what_it_knows(self) -> None:
        for other, status, words in (
            (ANN_AGAIN, 0, "the same person, if you trust this model: score 1."),
            (BOB, 1, "different people, if you trust this model: score 0."),
        ):
            said = zomu_command("verify", ANN, other)
            self.assertEqual((said.status, said.err), (status, ""))
            for expected in (words, "0.7097", "0.106 % of the pairs of different people", "cannot identify real people"):
                self.assertIn(expected, said.out)
            done = json.loads(zomu_command("verify", ANN, other, "--json").out)
            self.assertEqual(done["score"], zomu.verify(ANN, other).score)
            self.assertEqual((done["same"], done["false_match_rate"]), (status == 0, 0.001061710920752665))
            self.assertEqual(done["finder"], "mesh 1")
            self.assertEqual(done["model"], DEMONSTRATION_MODEL)

    def test_verify_takes_landmarks_and_thresholds(self) -> None:
        face = str(ANN).replace(".jpg", ".csv"), str(BOB).replace(".jpg", ".csv")
        said = zomu_command("verify", ANN, BOB, "--landmarks", *face, "--threshold", "-9", "--json")
        done = json.loads(said.out)
        with zomu.Context() as context:
            a, b = (context.extract(zomu.read_picture(p), c) for p, c in zip((ANN, BOB), face))
        self.assertEqual((said.status, done["score"], done["false_match_rate"]), (0, zomu.compare(a, b), None))
        self.assertIn("rate of false matches is not known", done["meaning"])

    def test_files_of_templates_are_those_of_the_tool(self) -> None:
        ours, theirs = self.folder / "ours.zomu", self.folder / "theirs.zomu"
        wrong = self.folder / "wrong.csv"
        points = zomu.read_landmarks(LANDMARKS)
        points[12], points[13] = points[13], points[12]
        zomu.write_landmarks(wrong, points)
        for face, flags in ((LANDMARKS, []), (wrong, ["--unchecked"])):
            said = zomu_command("extract", PICTURE, ours, "--landmarks", face, *flags)
            self.assertEqual((said.status, said.out, said.err), (0, f"{ours}\n", ""))
            tool = TOOLS / "zomu-template"
            run(tool, "extract", *flags, PICTURE, face, theirs, TMPDIR=str(self.directory)).check_returncode()
            self.assertEqual(ours.read_bytes(), theirs.read_bytes())
            score = float(run(tool, "compare", ours, theirs).stdout)
            done = json.loads(zomu_command("verify", ours, theirs, "--json").out)
            self.assertEqual(np.float32(done["score"]), np.float32(score))
        said = zomu_command("extract", PICTURE, ours, "--landmarks", wrong)
        self.assertEqual((said.status, said.out), (1, ""))
        for flags, text in ((["--unchecked"], "--unchecked is for"), (["--largest", "--landmarks", wrong], "--largest is for")):
            said = zomu_command("extract", PICTURE, ours, *flags)
            self.assertIn(f"zomu extract: {text}", said.err)
        said = zomu_command("extract", PICTURE, ours, "--landmarks", wrong)
        self.assertIn(zomu.check_landmarks(points, 300, 300) or "no fault", said.err)

    def test_found_landmarks_give_the_template_that_their_file_gives(self) -> None:
        zomu_command("find", ANN, "--csv", self.folder)
        for flags, name in ((["--landmarks", self.folder / "00.csv"], "a"), (["--finder", "mesh"], "b")):
            self.assertEqual(zomu_command("extract", ANN, self.folder / name, *flags).status, 0)
        self.assertEqual((self.folder / "a").read_bytes(), (self.folder / "b").read_bytes())

    def test_find_replaces_no_landmarks_unasked(self) -> None:
        face = self.folder / "00.csv"
        face.write_text("by hand")
        said = zomu_command("find", ANN, "--csv", self.folder)
        self.assertEqual((said.status, face.read_text()), (1, "by hand"))
        self.assertIn(f"{face} is there already; --force replaces it", said.err)
        self.assertEqual(zomu_command("find", ANN, "--csv", self.folder, "--force").status, 0)
        self.assertEqual(len(zomu.read_landmarks(face)), 25)
        said = zomu_command("find", ANN, BOB.with_name("00.jpg"), "--csv", self.folder / "new")
        self.assertIn("another of the pictures has already given", said.err)

    def test_the_largest_face_is_taken_only_when_asked_and_where_it_is_clearly_that(self) -> None:
        image = zomu.read_picture(PICTURE)
        large = image.repeat(5, axis=0).repeat(5, axis=1)[::2, ::2]
        beside = np.zeros((750, 1050, 3), dtype=np.uint8)
        beside[:, :750], beside[:300, 750:] = large, image
        both, equal = self.folder / "both.png", self.folder / "people/ann/equal.png"
        equal.parent.mkdir(parents=True)
        Image.fromarray(beside[:, :, ::-1]).save(both)
        Image.fromarray(np.hstack([image, image])[:, :, ::-1]).save(equal)
        for name in ("1.png", "2.png"):
            shutil.copy(both, equal.with_name(name))
        out, people = self.folder / "out.zomu", self.folder / "people"
        cases = [
            (["extract", "{}", out], 1),
            (["verify", "{}", PICTURE], 2),
            (["search", "{}", PEOPLE / "90000"], 1),
        ]
        for words, status in cases:
            for picture, clearly in ((both, True), (equal, False)):
                line = [str(word).format(picture) for word in words]
                said = zomu_command(*line)
                self.assertEqual((said.status, said.err.endswith("; --largest takes the largest\n")), (status, clearly))
                said = zomu_command(*line, "--largest")
                self.assertEqual("none of them twice as large" in said.err, not clearly)
                self.assertEqual(said.status, 0 if clearly else status, said.err)
        self.assertEqual(zomu_command("find", both).out.count("\n"), 2)
        self.assertIn("both.png: face 1 of 1: ", zomu_command("find", both, "--largest").out)
        self.assertEqual(zomu_command("find", equal, "--largest").status, 1)
        said = zomu_command("manifest", people, self.folder / "strict")
        self.assertEqual((said.status, said.err.count("; --largest takes the largest; left out\n")), (1, 2))
        said = zomu_command("manifest", people, self.folder / "taken", "--largest")
        self.assertIn("2 photographs of 1 people; 1 left out", said.out)
        taken = zomu.read_landmarks(self.folder / "taken/landmarks/ann/1.png.csv")
        self.assertLess(np.hypot(*np.subtract(taken[0], 2.5 * np.array(zomu.read_landmarks(LANDMARKS)[0]))), 12)

    def test_search_puts_the_same_person_first(self) -> None:
        done = json.loads(zomu_command("search", ANN, PEOPLE, "--json", "--top", "5").out)
        self.assertEqual((done["compared"], len(done["matches"]), done["left_out"]), (48, 5, []))
        self.assertEqual({match["file"].split("/")[-2] for match in done["matches"][:4]}, {"90000"})
        self.assertEqual([match["same"] for match in done["matches"]], [True] * 4 + [False])
        self.assertEqual(done["matches"][1]["score"], zomu.verify(ANN, done["matches"][1]["file"]).score)
        said = zomu_command("search", ANN, PEOPLE / "90000", "--top", "0")
        self.assertEqual(said.out.count(" * "), 5)  # four faces, and the mark is explained
        self.assertIn("rates are for one comparison, not for a search", said.out)

    def test_search_takes_landmarks_for_the_probe(self) -> None:
        exact = ANN.with_suffix(".csv")
        zomu_command("extract", BOB, self.folder / "bob.zomu")
        zomu_command("extract", ANN, self.folder / "ann.zomu", "--landmarks", exact)
        done = json.loads(zomu_command("search", ANN, self.folder, "--landmarks", exact, "--json").out)
        with zomu.Context() as context:
            own = context.extract(zomu.read_picture(ANN), exact)
        self.assertEqual([match["score"] for match in done["matches"]][0], float(zomu.compare(own, own)))
        cases = [
            ([ANN, self.folder, "--landmarks", exact, "--largest"], "--largest is for the faces that a finder finds"),
            ([ANN, self.folder, "--landmarks", "no.csv"], "writes landmark files\n"),
            ([self.folder / "bob.zomu", self.folder, "--landmarks", exact], "bob.zomu: is a template, which has no use for"),
            ([ANN, self.folder, "--landmarks", LANDMARKS.with_suffix(".png")], "docs/landmarks.md shows where landmarks are"),
        ]
        for words, expected in cases:
            said = zomu_command("search", *words)
            self.assertEqual((said.status, said.out), (1, ""))
            self.assertIn(expected, said.err)

    def test_templates_can_be_searched(self) -> None:
        for number, picture in enumerate((ANN_AGAIN, BOB)):
            zomu_command("extract", picture, self.folder / f"{number}.zomu")
        done = json.loads(zomu_command("search", self.folder / "0.zomu", self.folder, "--json").out)
        self.assertEqual([match["file"][-6:] for match in done["matches"]], ["0.zomu", "1.zomu"])

    def test_cluster_puts_each_person_in_a_group(self) -> None:
        for person in ("90000", "90001", "90002"):
            shutil.copytree(PEOPLE / person, self.folder / person)
        done = json.loads(zomu_command("cluster", self.folder, "--json").out)
        people = [sorted({face["file"].split("/")[-2] for face in group}) for group in done["people"]]
        self.assertEqual(people, [["90000"], ["90001"], ["90002"]])
        alone = [[face] for group in done["people"] for face in group]
        for threshold, expected in (("9", alone), ("-9", [sum(alone, [])])):
            said = zomu_command("cluster", self.folder, "--threshold", threshold, "--json")
            self.assertEqual(json.loads(said.out)["people"], expected)
        self.assertIn("12 faces, 3 people by the threshold 0.7097", zomu_command("cluster", self.folder).out)

    def test_a_manifest_is_read_by_the_tools(self) -> None:
        names = ["ann, the first", 'bob "b"']
        for person, name in zip(("90000", "90001"), names):
            shutil.copytree(PEOPLE / person, self.folder / "people" / name, ignore=shutil.ignore_patterns("*.csv"))
        said = zomu_command("manifest", self.folder / "people", self.folder / "out")
        self.assertEqual((said.status, said.err), (0, ""))
        self.assertIn("8 photographs of 2 people; 0 left out", said.out)
        files = self.folder / "out/manifest.csv", self.folder / "scores.npy"
        done = run(TOOLS / "zomu-scores", *files, TMPDIR=str(self.directory))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        said = zomu_command("manifest", self.folder / "people", self.folder / "out")
        self.assertEqual(said.status, 1)
        self.assertIn("is not empty; name another folder", said.err)

    def test_draw_marks_the_landmarks(self) -> None:
        for flags, scale in ((["--landmarks", LANDMARKS], 1), ([], 1), (["--landmarks", LANDMARKS, "--ids"], 6)):
            said = zomu_command("draw", PICTURE, self.folder / "drawn.png", *flags)
            self.assertEqual((said.status, said.out), (0, f"{self.folder}/drawn.png: 1 face\n"))
            before, after = zomu.read_picture(PICTURE), zomu.read_picture(self.folder / "drawn.png")
            before = before.repeat(scale, axis=0).repeat(scale, axis=1)
            self.assertEqual(before.shape, after.shape)
            x, y = zomu.read_landmarks(LANDMARKS)[0]
            at_landmark = tuple(after[round(scale * y), round(scale * x)])
            self.assertEqual(at_landmark == (0, 220, 255), "--landmarks" in flags)
            self.assertTrue(np.array_equal(before[: 60 * scale], after[: 60 * scale]))

    def test_a_wrong_command_line_is_one_line_and_status_2(self) -> None:
        cases = [
            ([], "zomu: the following arguments are required: COMMAND; `zomu --help` says more"),
            (["verify", "a"], "zomu verify: the following arguments are required: B; `zomu verify --help` says more"),
            (["verify", "a", "b", "--thresh", "1"], "unrecognized arguments: --thresh 1"),
            (["search", "a", "b", "--threshold", "high"], "invalid float value: 'high'"),
            (["extract", "a", "b", "--landmarks", "c", "--finder", "mesh"], "not allowed with argument"),
            (["cluster", "a", "--largest"], "unrecognized arguments: --largest"),
            (["model"], "the following arguments are required: ACTION"),
            (["guess"], "invalid choice: 'guess'"),
        ]
        for words, expected in cases:
            said = zomu_command(*words)
            with self.subTest(words):
                self.assertEqual((said.status, said.out), (2, ""))
                self.assert_one_line(said.err)
                self.assertIn(expected, said.err)

if __name__ == "__main__":
    unittest.main()

"""`zomu gallery`, from photographs to answers, and what it refuses."""

import json
import os
import re
import shutil
import subprocess
import sys
import unittest

import zomu
from command_support import ANN, ANN_AGAIN, BOB, PEOPLE, CommandTest, zomu_command
from postgres_server import PostgresServer
from support import PROJECT, run_python
from zomu_gallery import Gallery


class GalleryCommandTest(CommandTest):
    def setUp(self) -> None:
        super().setUp()
        self.place = self.folder / "gallery"
        self.people = self.folder / "people"
        for name in ("90000", "90001", "90002"):
            shutil.copytree(PEOPLE / name, self.people / name)

    def searched(self, probe: object, *words: object) -> dict[str, object]:
        said = zomu_command("gallery", "search", self.place, probe, "--json", *words)
        self.assertEqual((said.status, said.err), (0, ""))
        return json.loads(said.out)

    def test_people_are_added_found_and_deleted(self) -> None:
        said = zomu_command("gallery", "add", self.place, self.people)
        self.assertEqual(said, (0, f"{self.place}: 12 of 12 faces added\n", ""))
        said = zomu_command("gallery", "add", self.place, self.people / "90000/00.jpg")
        self.assertEqual(said, (0, f"{self.place}: 0 of 1 face added\n", ""))
        for kind in ("exact", "approximate"):
            said = zomu_command("gallery", "rebuild", self.place, f"--{kind}")
            self.assertEqual(said, (0, f"{self.place}: {kind} index of 12 templates\n", ""))
            answer = self.searched(ANN, "--top", 4)
            self.assertEqual((answer["compared"], answer["index"]), (12, kind))
            self.assertEqual([match["person"] for match in answer["matches"]], ["90000"] * 4)
            self.assertTrue(all(match["same"] for match in answer["matches"]))
            scores = [zomu.verify(ANN, PEOPLE / f"90000/{name}.jpg").score for name in ("00", "01", "02", "03")]
            self.assertEqual([match["score"] for match in answer["matches"]], sorted(scores, reverse=True))
        said = zomu_command("gallery", "delete", self.place, "90000")
        self.assertEqual(said, (0, f"{self.place}: 4 templates deleted, 0 that had expired\n", ""))
        self.assertFalse(any(match["same"] for match in self.searched(ANN)["matches"]))
        said = zomu_command("gallery", "search", self.place, BOB, "--top", 1)
        self.assertRegex(said.out, r"^  1\.\d{4} \* 90001 \([0-9a-f]{16} face 1\)\n8 faces searched\. .* misses some")

    def test_templates_names_and_dates(self) -> None:
        template = self.folder / "ann.zomu"
        zomu_command("extract", ANN_AGAIN, template)
        zomu_command("gallery", "add", self.place, template, "--person", "Ann", "--consent", "paper 7")
        zomu_command("gallery", "add", self.place, BOB, "--person", "Bob", "--expires", "2020-01-31")
        answer = self.searched(template)
        self.assertEqual([match["person"] for match in answer["matches"]], ["Ann"])
        said = zomu_command("gallery", "delete", self.place)
        self.assertEqual(said.out, f"{self.place}: 0 templates deleted, 1 that had expired\n")

    def test_templates_in_a_database(self) -> None:
        server = PostgresServer()
        self.addCleanup(server.stop)
        server.install()
        address = server.add_tenant("acme")
        self.assertEqual(zomu_command("gallery", "add", self.place, self.people, "--database", address).status, 0)
        self.assertEqual(self.searched(ANN)["matches"][0]["person"], "90000")
        self.assertEqual(server.execute("SELECT count(*) FROM zomu.template"), [(12,)])
        self.assertEqual(zomu_command("gallery", "delete", self.place, "90000").status, 0)
        self.assertEqual(server.execute("SELECT count(*) FROM zomu.template"), [(8,)])

    def test_the_commands_of_the_page_do_what_it_says(self) -> None:
        block = re.search("```sh\n(.*?)```", (PROJECT / "docs/gallery.md").read_text(), re.DOTALL)[1]
        (self.folder / "build").mkdir()
        (self.folder / "examples").symlink_to(PROJECT / "examples")
        script = f'cd {self.folder}\nzomu() {{ {sys.executable} -B -m zomu "$@"; }}\n{block}'
        environment = {**os.environ, "TMPDIR": str(self.folder)}
        done = subprocess.run(["bash", "-euc", script], env=environment, capture_output=True, text=True, timeout=900)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout.count(" * 90000 ("), 4)
        self.assertIn("build/people: approximate index of 44 templates\n", done.stdout)

    def test_what_is_wrong_is_one_line_with_the_next_step(self) -> None:
        grey = self.folder / "grey"
        grey.mkdir()
        other = self.folder / "other"
        Gallery.create(other, "ab" * 32).close()
        zomu_command("gallery", "add", self.place, ANN)
        cases = [
            (("search", self.folder / "none", ANN), "is not a gallery; `zomu gallery add` makes one"),
            (("rebuild", self.folder / "none"), "is not a gallery; `zomu gallery add` makes one"),
            (("search", other, ANN), "templates of another model, abababababababab..., not .*: give that model with"),
            (("add", other, ANN), "templates of another model"),
            (("add", self.people, ANN), "is not empty, and not a gallery; take another folder"),
            (("add", self.place, grey), "there is no face that could be added"),
            (("add", self.place, ANN, "--database", "postgresql://x"), "is there already; leave --database out"),
            (("delete", self.place, "Nobody"), "there is nobody of the name Nobody here"),
            (("delete", self.place, "90000"), ""),
            (("search", self.place, ANN), "there is no face in this gallery; `zomu gallery add` adds some"),
            (("rebuild", self.place, "--approximate"), "at least two templates; add some, or take the exact one"),
        ]
        for words, expected in cases:
            with self.subTest(words):
                said = zomu_command("gallery", *words)
                self.assertEqual(said.status, 1 if expected else 0)
                self.assertRegex(said.err, expected or "^$")
                self.assertLessEqual(said.err.count("\n"), 1)
        for words in (("add", self.place, ANN, "--expires", "soon"), ("search", self.place, ANN, "--top", "0")):
            self.assertEqual(zomu_command("gallery", *words).status, 2)

    def test_without_the_extra_the_command_says_what_to_install(self) -> None:
        code = "import sys; sys.modules['faiss'] = None\nfrom zomu.command import main\nsys.exit(main(sys.argv[1:]))"
        code = code.replace("sys.argv[1:]", repr(["gallery", "rebuild", str(self.place)]))
        done = run_python(code)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"^zomu gallery rebuild: the package faiss is not installed: install zomu\[gallery\]")


if __name__ == "__main__":
    unittest.main()

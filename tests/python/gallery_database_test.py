"""Galleries whose templates are in PostgreSQL."""

import threading
import unittest
from datetime import datetime, timedelta, timezone

import numpy as np
import psycopg

import zomu
from gallery_support import FINGERPRINT, MADE, GalleryTest, brute_force, entries, entry
from postgres_server import PostgresServer
from zomu_gallery import Gallery
from zomu_gallery.database import DatabaseStore

PEOPLE = MADE.photographs(0, 300)
PROBES = MADE.photographs(0, 20, 1)


class GalleryDatabaseTest(GalleryTest):
    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        cls.server = PostgresServer()
        cls.addClassCleanup(cls.server.stop)
        cls.server.install()
        cls.tenants = 0

    def tenant(self) -> str:
        """The address of a new one."""
        type(self).tenants += 1
        return self.server.add_tenant(f"tenant{self.tenants}")

    def gallery_of(self, address: str, name: str = "gallery") -> Gallery:
        path = self.folder / name
        return self.enterContext(Gallery(path) if path.exists() else Gallery.create(path, FINGERPRINT, address))

    def store(self, address: str, fingerprint: str = FINGERPRINT) -> DatabaseStore:
        store = DatabaseStore(address, fingerprint)
        self.addCleanup(store.close)
        return store

    def test_an_index_in_a_folder_follows_the_database(self) -> None:
        address = self.tenant()
        gallery, other = self.gallery_of(address), self.gallery_of(address, "other")
        self.assertEqual((gallery.add(entries(PEOPLE[:100])), other.add(entries(PEOPLE[:120]))), (100, 20))
        for kind in ("exact", "approximate"):
            self.assertEqual(gallery.rebuild(kind), 120)
            other.add(entries(PEOPLE[120:], 120))
            for number in range(0, 40):
                other.delete(f"person {number}")
            for probe in PROBES:
                expected = [f"person {40 + row}" for row, _ in brute_force(PEOPLE[40:], probe, 5)]
                for searched in (gallery, other, self.gallery_of(address)):
                    self.assertEqual([match.face.person for match in searched.search(probe, 5)], expected)
            for number in range(120, 300):
                other.delete(f"person {number}")
            other.add(entries(PEOPLE[:40]))

    def test_no_tenant_sees_or_changes_what_another_has(self) -> None:
        mine, theirs = self.tenant(), self.tenant()
        self.store(mine).add(entries(PEOPLE[:5]))
        other = self.store(theirs)
        everything = np.arange(1_000_000)
        self.assertEqual((other.fetch(everything), other.delete("person 0"), list(other.blocks())), ([], 0, []))
        self.assertEqual(len(other.changes(0).added) + len(other.changes(0).deleted), 0)
        self.assertEqual(other.add(entries(PEOPLE[:5])), 5)
        with psycopg.connect(theirs, autocommit=True) as connection:
            for statement in (
                "INSERT INTO zomu.template (tenant, person, photograph, face, fingerprint, consent, template) "
                "SELECT 'tenant1', person, photograph, 9, fingerprint, consent, template FROM zomu.template",
                "UPDATE zomu.template SET tenant = 'tenant1'",
                "UPDATE zomu.template SET template = template",
                "TRUNCATE zomu.template",
                "DELETE FROM zomu.change",
                "INSERT INTO zomu.change (tenant, fingerprint, id, is_deletion) VALUES ('tenant1', '', 1, true)",
                "ALTER TABLE zomu.template DISABLE ROW LEVEL SECURITY",
                "SET ROLE owner",
                f"SET ROLE {mine.partition('//')[2].partition(':')[0]}",
                "SET row_security = off; SELECT * FROM zomu.template",
            ):
                with self.subTest(statement), self.assertRaises(psycopg.Error):
                    connection.execute(statement)
            counted = connection.execute("SELECT count(*), count(DISTINCT tenant) FROM zomu.template").fetchone()
            self.assertEqual(counted, (5, 1))
            self.assertEqual(connection.execute("SELECT count(*) FROM zomu.change").fetchone(), (5,))
        self.assertEqual(len(self.store(mine).fetch(everything)), 5)

    def test_changes_that_become_visible_out_of_order_are_not_missed(self) -> None:
        address = self.tenant()
        gallery = self.gallery_of(address)
        gallery.add(entries(PEOPLE[:10]))
        slow = psycopg.connect(address)
        self.addCleanup(slow.close)
        slow.execute("DELETE FROM zomu.template WHERE person = 'person 3'")
        gallery.add(entries(PEOPLE[10:20], 10))
        self.assertEqual(len(gallery), 20)
        slow.commit()
        gallery.add(entries(PEOPLE[20:30], 20))
        self.assertEqual((len(gallery), len(self.gallery_of(address))), (29, 29))

    def test_deletion_leaves_nothing_in_the_files_of_the_database_after_vacuum(self) -> None:
        gallery = self.gallery_of(self.tenant())
        gallery.add(entries(MADE.photographs(700, 30), 700))
        gallery.rebuild()
        self.server.execute("CHECKPOINT")
        piece = MADE.photographs(709, 1)[0].tobytes()[100:164]
        self.assertIn(piece, self.server.files("base/*/*"))
        self.assertEqual(gallery.delete("person 709"), 1)
        self.assertNotIn(piece, b"".join(path.read_bytes() for path in (self.folder / "gallery").glob("*")))
        self.server.execute("VACUUM FULL zomu.template", "CHECKPOINT")
        self.assertNotIn(piece, self.server.files("base/*/*"))
        self.assertNotIn(b"person 709", self.server.files("base/*/*"))
        self.server.execute("SELECT pg_switch_wal()", "CHECKPOINT")
        self.assertNotIn(piece, self.server.files("pg_wal/*"))

    def test_what_has_expired_and_what_is_no_template_is_not_found(self) -> None:
        address, now = self.tenant(), datetime.now(timezone.utc)
        gallery = self.gallery_of(address)
        gallery.add([entry("late", PEOPLE[0], expires=now - timedelta(seconds=1)), entry("open", PEOPLE[1])])
        gallery.add(entries(PEOPLE[2:6], 2))
        forged = PEOPLE[2].copy()
        forged[501] *= np.float32(1.01)
        with self.server.connect() as connection:
            connection.execute(
                "UPDATE zomu.template SET template = %s WHERE person = 'person 2' AND tenant = %s",
                (forged.tobytes(), address.partition("//")[2].partition(":")[0]),
            )
        found = {match.face.person for match in gallery.search(PEOPLE[0], 9)}
        self.assertEqual(found, {"open", "person 3", "person 4", "person 5"})
        self.assertEqual(gallery.purge(), 1)

    def test_models_are_kept_apart(self) -> None:
        address = self.tenant()
        self.store(address).add(entries(PEOPLE[:3]))
        other = self.store(address, "cd" * 32)
        self.assertEqual((other.fetch(np.arange(1_000_000)), list(other.blocks())), ([], []))
        self.assertEqual(other.add(entries(PEOPLE[:3])), 3)

    def test_a_server_that_is_killed_loses_no_committed_template(self) -> None:
        address = self.tenant()
        loads = [entries(PEOPLE[3 * number : 3 * number + 3], 3 * number) for number in range(100)]
        committed, lock = set(), threading.Lock()

        def work(part: int) -> None:
            for number in range(part, 100, 4):
                try:
                    store = DatabaseStore(address, FINGERPRINT)
                    try:
                        store.add(loads[number])
                    finally:
                        store.close()
                except (psycopg.Error, zomu.Error):
                    continue
                with lock:
                    committed.add(number)
                    if len(committed) == 40:
                        self.server.kill()

        threads = [threading.Thread(target=work, args=(part,)) for part in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertTrue(40 <= len(committed) < 100)
        self.server.start()
        store = self.store(address)
        there = {face.person: face.template.tobytes() for face in store.fetch(np.arange(1_000_000))}
        for number, load in enumerate(loads):
            present = sum(there.get(item.person) == item.template.tobytes() for item in load)
            self.assertIn(present, (3,) if number in committed else (0, 3))
        self.assertEqual(sum(store.add(load) for load in loads), 300 - len(there))
        self.assertEqual(len(self.gallery_of(address)), 300)

    def test_a_database_that_cannot_be_used_is_said_in_one_line(self) -> None:
        good = self.server.address()
        for address in (good.replace(str(self.server.port), "1"), good.replace("owner:", "nobody:"), "nonsense"):
            with self.assertRaisesRegex(zomu.Error, "^the database cannot be used [^\n]*$"):
                Gallery.create(self.folder, FINGERPRINT, address)
            self.assertEqual(list(self.folder.iterdir()), [])
        bare = good.replace("/postgres", "/template1")
        with self.assertRaisesRegex(zomu.Error, '^the database cannot be used .*relation "zomu.template" does not exist'):
            Gallery.create(self.folder, FINGERPRINT, bare)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/python3
"""The recent scans in the real window: what was scanned is listed, also after a restart, can be scanned again, taken off
and brought back.

    tests/endtoend/test_recent_scans.py PROGRAM
"""

import base64
import json
import shutil
import sys
import unittest

from larkfold_driver import Session

PROGRAM = sys.argv.pop(1)


class RecentScans(unittest.TestCase):
    """One session for all tests of this file; each begins with two folders and without a scan."""

    @classmethod
    def setUpClass(cls):
        cls.session = cls.enterClassContext(Session())

    def setUp(self):
        self.session.write_settings(self.session.settings)
        (self.session.home / ".local/share/Larkfold/latest-scan.sqlite").unlink(missing_ok=True)
        self.films = self.folder("films")
        self.songs = self.folder("songs")

    def folder(self, name):
        folder = self.session.home / name
        folder.mkdir(exist_ok=True)
        (folder / f"{name}.bin").write_bytes(b"x" * 700_000)
        return folder

    def stored(self):
        entries = json.loads(base64.b64decode(self.session.read_settings()["ScanHistory"]))
        return [entry["rootName"] for entry in entries]

    def start_page(self, larkfold):
        larkfold.wait_for_map()
        larkfold.find("New Scan", role="push button").click()
        larkfold.find("Recent Scans", role="list")

    def rows(self, larkfold):
        return [row.name.split(",")[0] for row in larkfold.find_all(role="list item", inside="list")]

    def row(self, larkfold, name):
        return larkfold.find(contains=f"{name}, {self.session.home / name}, ", role="list item")

    def scan_both(self, larkfold):
        larkfold.scan_folder(self.films)
        self.start_page(larkfold)
        larkfold.scan_folder(self.songs)
        self.start_page(larkfold)
        self.assertEqual(self.rows(larkfold), ["songs", "films"])

    def test_scansAreListedAndAfterARestartScannedAgain(self):
        with self.session.start(PROGRAM) as larkfold:
            self.scan_both(larkfold)
            self.assertTrue(self.row(larkfold, "songs").name.endswith(", Current"))
            self.assertFalse(self.row(larkfold, "films").name.endswith(", Current"))
            larkfold.terminate()
        with self.session.start(PROGRAM) as larkfold:
            # The saved scan that comes back is no new one.
            self.start_page(larkfold)
            self.assertEqual(self.rows(larkfold), ["songs", "films"])
            self.row(larkfold, "films").click()
            larkfold.key("Return")
            larkfold.find(contains="films.bin", role="list item")
            self.start_page(larkfold)
            self.assertEqual(self.rows(larkfold), ["films", "songs"])
            self.assertEqual(self.stored(), ["films", "songs"])
            larkfold.terminate()

    def test_whatIsTakenOff_canBeBroughtBack(self):
        with self.session.start(PROGRAM) as larkfold:
            self.scan_both(larkfold)
            self.row(larkfold, "songs").click()
            larkfold.key("Delete")
            larkfold.find(contains="“songs” was removed from the list.", role="alert")
            self.assertEqual(self.stored(), ["films"])
            larkfold.find("Undo", role="push button").click()
            self.row(larkfold, "songs")
            larkfold.find("Clear recent scans", role="push button").click()
            larkfold.find(contains="The list was cleared.", role="alert")
            self.assertEqual(self.stored(), [])
            larkfold.key("Return")  # on Undo, which got the keyboard
            self.row(larkfold, "songs")
            self.assertEqual(self.stored(), ["songs", "films"])
            self.assertTrue((self.songs / "songs.bin").exists())
            larkfold.terminate()

    def test_aFolderThatIsGone_isTold(self):
        with self.session.start(PROGRAM) as larkfold:
            self.scan_both(larkfold)
            shutil.rmtree(self.films)
            self.row(larkfold, "films").click()
            larkfold.key("Return")
            larkfold.find("This saved folder needs permission again. Please select it manually.", role="alert")
            self.assertEqual(self.rows(larkfold), ["songs", "films"])
            self.assertIn("Failed to resolve scan history bookmark for", larkfold.log())
            larkfold.terminate()


if __name__ == "__main__":
    unittest.main(verbosity=2)

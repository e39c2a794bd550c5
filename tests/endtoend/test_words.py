#!/usr/bin/python3
"""No text of the real program names another system. Every test here that reads a window holds this (see Program); this one
goes to the pages that the others pass by, and makes sure that the words were there to be read.

    tests/endtoend/test_words.py PROGRAM
"""

import json
import sys
import unittest

from larkfold_driver import Session
from system_words import foreign_words

PROGRAM = sys.argv.pop(1)


class Words(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = cls.enterClassContext(Session(settings={}))
        for name, size in {"large.mov": 3_000_000, "small.txt": 5_000}.items():
            path = cls.session.home / "tree" / name
            path.parent.mkdir(exist_ok=True)
            path.write_bytes(b"x" * size)

    def read(self, larkfold, *expected):
        """Once the expected texts are on screen, reads everything that the windows hold, what is scrolled away as well."""
        for text in expected:
            larkfold.find(text)
        self.assertEqual([text for text in larkfold.texts(showing=False) if foreign_words(text)], [])

    def first_run(self, larkfold):
        self.read(larkfold, "The smart way to free up disk space on your computer")
        for heading in ("What Larkfold Can Do", "Permissions", "You're All Set!"):
            larkfold.find("Next", role="push button").press()
            self.read(larkfold, heading)
        larkfold.find("Get Started", role="push button").press()
        self.read(larkfold, "Scan Entire Disk")

    def windows(self, larkfold):
        larkfold.key("F1")
        self.read(larkfold, "Larkfold Help", "Ctrl+click")
        larkfold.key("Escape")
        larkfold.wait(lambda: not larkfold.has("Larkfold Help"), "the end of the help")
        larkfold.key("ctrl+comma")
        self.read(larkfold, "Protected Folder Access", "Skip hidden files")
        with larkfold.in_window("Settings"):
            larkfold.find("Privacy Policy", role="push button").press()
            self.read(larkfold, "What Is Not Collected")
        with larkfold.in_window("Privacy Policy"):
            larkfold.key("Escape")
        with larkfold.in_window("Settings"):
            larkfold.key("Escape")

    def map(self, larkfold):
        larkfold.scan_folder(self.session.home / "tree")
        self.read(larkfold, "Saved on this computer. Changes outside a rescan remain a snapshot.")
        larkfold.find("Show color legend").click()
        self.read(larkfold, "Click to navigate, Ctrl+click to select")
        larkfold.find_all(role="list item", inside="list")[0].click(button=3)
        self.read(larkfold, "Show in File Manager")
        larkfold.key("Escape")
        larkfold.find("Forget saved scan…", role="push button").click()
        self.read(larkfold, "This removes the saved file index from this computer. Your files and the current on-screen scan "
                            "are preserved.")
        larkfold.key("Escape")
        larkfold.wait(lambda: not larkfold.has("Forget saved scan?"), "the end of the question")

    def history(self, larkfold):
        larkfold.find("Cleanup History", role="push button").press()
        larkfold.find(contains="succeeded", role="list item")
        larkfold.key("Home", "Right")
        self.read(larkfold, "The latest 100 operations are stored on this computer. Clearing history does not delete or "
                            "restore files.",
                  "In Trash, select the original item and choose Restore when available. Otherwise move it to the recorded "
                  "original folder; check for an existing file before replacing anything.")

    def test_no_text_names_another_system(self):
        record = self.session.home / ".local/share/Larkfold/cleanup-history.json"
        record.parent.mkdir(parents=True)
        record.write_text(json.dumps([{
            "id": "00000000-0000-4000-8000-000000000001", "startedAt": 816_000_000, "finishedAt": 816_000_001,
            "source": "Disk analysis", "permanent": False, "volumes": [],
            "items": [{"originalPath": "/home/anna/film", "logicalBytes": 1, "trashPath": "/home/anna/Trash/film"}]}]),
            encoding="utf-8")
        with self.session.start(PROGRAM) as larkfold:
            larkfold.resize(1280, 800)
            self.first_run(larkfold)
            self.windows(larkfold)
            self.map(larkfold)
            self.history(larkfold)

    def test_a_text_that_names_another_system_is_noticed(self):
        with self.assertRaisesRegex(AssertionError, "Finder"), self.session.start(PROGRAM) as larkfold:
            larkfold.find(role="push button")
            larkfold.read.add("Show in Finder")


if __name__ == "__main__":
    unittest.main(verbosity=2)

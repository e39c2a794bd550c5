#!/usr/bin/python3
"""The real program in a real window: a folder is scanned, walked, marked, filtered and left by a person's means, and what
came of it is read as assistive technology reads it.

    tests/endtoend/test_window.py PROGRAM HELD_FOLDER_LIBRARY
"""

import os
import shutil
import sqlite3
import sys
import tempfile
import unittest
from pathlib import Path

from larkfold_driver import Session

PROGRAM = sys.argv.pop(1)
HELD_FOLDER_LIBRARY = sys.argv.pop(1)


def make(folder, sizes):
    """Files of those sizes, written, below the folder."""
    for name, size in sizes.items():
        path = Path(folder) / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"x" * size)


class Window(unittest.TestCase):
    """One program for all tests of this file; each begins with a new scan."""

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="larkfold-mapped.", dir="/var/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        make(cls.folder / "tree", {
            "large/film.mov": 3_000_000,
            "large/inner/song.mp3": 2_000_000,
            "middle/report.pdf": 600_000,
            "small.txt": 5_000,
            ".hidden": 9_000,
        })
        make(cls.folder, {"held/file": 1})
        cls.pipe = cls.folder / "pipe"
        os.mkfifo(cls.pipe)
        cls.session = cls.enterClassContext(Session(dark=False))
        cls.program = cls.enterClassContext(cls.session.start(PROGRAM, {
            "LD_PRELOAD": HELD_FOLDER_LIBRARY, "LARKFOLD_HELD_NAME": "held", "LARKFOLD_HELD_PIPE": str(cls.pipe)}))
        cls.program.resize(1280, 800)

    def setUp(self):
        program = self.program
        if program.has("New Scan", role="push button"):
            program.find("New Scan", role="push button").click()
        program.scan_folder(self.folder / "tree")

    def rows(self):
        return [row.name.split(",")[0] for row in self.program.find_all(role="list item", inside="list")]

    def row(self, name):
        return next(row for row in self.program.find_all(role="list item", inside="list") if row.name.startswith(name + ","))

    def wait_rows(self, *names):
        self.program.wait(lambda: self.rows() == list(names), f"the rows {names}")

    def way(self):
        """The breadcrumb, in the order in which a screen reader tells it, which has to be the one in which it is drawn."""
        ways = self.program.find_all("The way to this folder", role="list")
        crumbs = [(child.name, child.box()) for way in ways for child in way.children() if child.role == "push button"]
        lefts = [box.x for _, box in crumbs]
        self.assertEqual(lefts, sorted(lefts), f"{crumbs} are told in another order than they are drawn")
        return [name for name, _ in crumbs]

    def answer_access_advice(self):
        """The advice stands before a scan of the whole disk where the account may not list its real home folder."""
        program = self.program
        program.wait(lambda: program.has("Cancel", role="push button") or program.has("Scan Available Areas"),
                     "the scan or the advice")
        for answer in self.program.find_all("Scan Available Areas", role="push button"):
            answer.click()

    def test_scan_tellsTotalsAndListsLargestFirst(self):
        self.assertIn(" in 4 files, 4 folders", self.program.totals())
        self.wait_rows("large", "middle", "small.txt")
        self.assertTrue(self.program.has(contains="1 hidden item"))

    def test_scan_writesTheIndex(self):
        index = self.session.home / ".local/share/Larkfold/latest-scan.sqlite"
        rows = dict(sqlite3.connect(f"file:{index}?mode=ro", uri=True).execute("SELECT name, logical FROM nodes WHERE directory=0"))
        self.assertEqual(rows, {"film.mov": 3_000_000, "song.mp3": 2_000_000, "report.pdf": 600_000, "small.txt": 5_000})

    def test_mouse_goesInAndBack(self):
        chart = self.program.find("Disk map", role="chart").box()
        side = min(chart.width, chart.height)
        x, y = chart.centre
        # The first child begins at the top and is the largest: a little to the right of the top, in the second ring.
        self.program.click_at(x + 0.05 * side, y - (0.12 + 0.076 * 1.5) * side)
        self.program.wait(lambda: self.way() == ["tree", "large"], "the way into the folder")
        self.wait_rows("film.mov", "inner")
        self.program.find("Back", role="push button").click()
        self.program.wait(lambda: self.way() == ["tree"], "the way back")
        self.wait_rows("large", "middle", "small.txt")

    def test_keyboard_goesInAndBack(self):
        self.row("large").click()
        self.program.key("Return")
        self.program.wait(lambda: self.way() == ["tree", "large"], "the way into the folder")
        self.row("inner").click()
        self.program.key("Return")
        self.program.wait(lambda: self.way() == ["tree", "large", "inner"], "the way further in")
        self.program.key("alt+Left")
        self.program.wait(lambda: self.way() == ["tree", "large"], "the way back to the folder")
        self.program.key("alt+Left")
        self.program.wait(lambda: self.way() == ["tree"], "the way back")

    def test_space_marksAndUnmarks(self):
        self.row("small.txt").click()
        self.program.key("space")
        self.program.find(contains="1 item")
        self.program.wait(lambda: self.program.has(contains="marked"), "the sum of what is marked")
        self.program.key("space")
        self.program.wait(lambda: not self.program.has("Clear Marks"), "no marks")
        self.assertTrue((self.folder / "tree/small.txt").exists())

    def test_searchAndFilter_narrowTheList(self):
        self.program.find("Include subfolders", role="check box").click()
        self.program.find("Extensions: pdf, zip").click()
        self.program.type("mp3, pdf")
        self.wait_rows("song.mp3", "report.pdf")
        self.program.find("Reset", role="push button").click()
        self.program.find("Search", role="text").click()
        self.program.type("SMALL")
        self.program.wait(lambda: "small.txt" in self.rows() and "large" not in self.rows(), "the search's one row")
        self.program.key("ctrl+a", "BackSpace")
        self.wait_rows("large", "middle", "small.txt")

    def test_cancelledScan_saysSoAndKeepsTheEarlierIndex(self):
        program = self.program
        index = self.session.home / ".local/share/Larkfold/latest-scan.sqlite"
        before = index.read_bytes()
        program.find("New Scan", role="push button").click()
        # Whatever this machine has: the scan does not get past a folder of ours before it is met under way.
        program.find("Scan Entire Disk", role="push button").click()
        self.answer_access_advice()
        program.find("Cancel", role="push button").press()
        released = os.open(self.pipe, os.O_RDWR)
        self.addCleanup(os.close, released)
        program.find("Scan was cancelled")
        self.assertEqual(index.read_bytes(), before)
        self.assertEqual([path.name for path in index.parent.iterdir()], [index.name])


if __name__ == "__main__":
    unittest.main(verbosity=2, warnings="ignore")

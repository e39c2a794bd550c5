#!/usr/bin/python3
"""The way of a removal in the real program: marked by keys, reviewed, decided, moved to Trash or deleted for good, and
found again in the history, as a person does it and as assistive technology reads it.

    tests/endtoend/test_removal.py PROGRAM
"""

import contextlib
import json
import os
import shutil
import stat
import sys
import unittest
from pathlib import Path
from urllib.parse import unquote

from larkfold_driver import Atspi, GLib, Session

PROGRAM = sys.argv.pop(1) if len(sys.argv) > 1 else os.environ["LARKFOLD_PROGRAM"]
SIZES = {"film.mov": 3_000_000, "album/one.jpg": 1_500_000, "album/two.jpg": 500_000, "letter.pdf": 900_000,
         "notes.txt": 4_000}


class Removal(unittest.TestCase):
    """One program for all tests of this file, in a home made for them; each begins with the same files, an empty Trash
    and a new scan."""

    @classmethod
    def setUpClass(cls):
        cls.session = cls.enterClassContext(Session(dark=False))
        cls.folder = cls.session.home / "Documents"
        cls.data = cls.session.home / ".local/share"
        cls.program = cls.enterClassContext(cls.session.start(PROGRAM))
        cls.program.resize(1280, 800)

    def setUp(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.rmtree(self.data / "Trash", ignore_errors=True)
        for name, size in SIZES.items():
            path = self.folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(name.encode() + b"x" * (size - len(name)))
        program = self.program
        for _ in range(2):
            if program.has(role="dialog"):  # what a test that failed has left open
                program.key("Escape")
        self.wait_closed()
        program.find("Disk Space", role="push button").press()
        for banner in program.find_all("Close", role="push button"):
            banner.press()
        program.wait(lambda: not program.has("View history"), "no banner of an earlier test")
        if program.has("New Scan", role="push button"):
            program.find("New Scan", role="push button").click()
        program.scan_folder(self.folder)

    # --- what a person does ---

    def focus_list(self):
        """By the Tab key alone, as somebody without a mouse gets there."""
        for _ in range(40):
            self.program.key("Tab")
            entries = self.program.find("Entries of the folder", role="list")
            if entries.focused or any(row.focused for row in entries.children()):
                return
        self.fail("The Tab key does not lead to the list.\n" + self.program.dump())

    def mark_first_two(self):
        self.focus_list()
        self.program.key("Home", "space", "Down", "space")
        self.program.find(contains="2 items, 5 MB marked")

    def open_review(self):
        self.program.key("Delete")
        self.program.find("Review cleanup", inside="dialog")
        self.wait_focus("Cancel")

    def wait_focus(self, name):
        self.program.wait(lambda: any(e.focused for e in self.program.find_all(name, inside="dialog")),
                          f"the keyboard on {name}")

    def wait_closed(self):
        self.program.wait(lambda: not self.program.has(role="dialog"), "the end of the sheet")

    # --- what came of it ---

    def files(self):
        return {str(path.relative_to(self.folder)) for path in self.folder.rglob("*") if path.is_file()}

    def trashed(self):
        folder = self.data / "Trash/files"
        return sorted(path.name for path in folder.iterdir()) if folder.exists() else []

    def records(self):
        history = self.data / "Larkfold/cleanup-history.json"
        return json.loads(history.read_text(encoding="utf-8")) if history.exists() else []

    # --- tests ---

    def test_byKeysAlone_whatIsMarkedGoesToTrashAndIsFoundAgain(self):
        program = self.program
        records = len(self.records())
        self.mark_first_two()
        self.open_review()
        self.assertTrue(program.has("2 items · 5 MB estimated data"))
        rows = [row.name for row in program.find_all(role="list item", inside="dialog")]
        self.assertEqual(rows, [
            f"film.mov, Review, 3 MB, {self.folder}/film.mov, Manually selected in disk analysis",
            f"album, Review, 2 MB, {self.folder}/album, Manually selected in disk analysis"])

        program.key("Tab")
        self.wait_focus("Move to Trash")
        program.key("Return")
        banner = program.find("2 items moved to Trash · 0 skipped or failed", role="alert")
        self.assertTrue(banner.description.startswith("Data processed: 5 MB · Free-space change: "), banner.description)

        self.assertEqual(self.files(), {"letter.pdf", "notes.txt"})
        self.assertEqual(self.trashed(), ["album", "film.mov"])
        self.assertEqual((self.data / "Trash/files/film.mov").stat().st_size, SIZES["film.mov"])
        self.assertEqual((self.data / "Trash/files/album/two.jpg").read_bytes()[:13], b"album/two.jpg")
        info = (self.data / "Trash/info/album.trashinfo").read_text(encoding="utf-8").splitlines()
        self.assertEqual(info[0], "[Trash Info]")
        self.assertEqual(unquote(info[1].removeprefix("Path=")), str(self.folder / "album"))
        program.wait(lambda: " in 2 files, 1 folder" in program.totals(), "the fresh totals")
        self.assertFalse(program.has(contains="marked"))

        record = self.records()[0]
        self.assertEqual(len(self.records()), records + 1)
        self.assertEqual(record["source"], "Disk analysis")
        self.assertFalse(record["permanent"])
        self.assertEqual({item["originalPath"] for item in record["items"]},
                         {str(self.folder / "film.mov"), str(self.folder / "album")})
        history = self.data / "Larkfold/cleanup-history.json"
        self.assertEqual(stat.S_IMODE(history.stat().st_mode), 0o600)

        program.find("View history", role="push button").press()
        program.find(contains=f"{self.folder}/film.mov, Trash location: {self.data}/Trash/files/film.mov",
                     role="list item")
        self.assertTrue(program.has(contains="2 succeeded · 0 failed · Data 5 MB", role="list item"))

        # Restored by another program meanwhile: the history says so, and keeps its row.
        (self.data / "Trash/files/film.mov").rename(self.folder / "film.mov")
        (self.data / "Trash/files/album").rename(self.folder / "album")
        program.find("Locate in Trash", role="push button").press()
        program.find(contains="This item is no longer at its recorded Trash location.")
        self.assertTrue(program.has(contains=f"{self.folder}/film.mov, Trash location", role="list item"))

    def alerts(self):
        """The names of the alerts that appear from now on."""
        shown = []

        def heard(event):
            with contextlib.suppress(GLib.Error):  # what is gone by now is not meant
                if event.detail1 and event.source.get_role_name() == "alert":
                    shown.append(event.source.get_name())

        listener = Atspi.EventListener.new(heard)
        listener.register("object:state-changed:showing")
        self.addCleanup(listener.deregister, "object:state-changed:showing")
        return shown

    def test_theBanner_isAnnouncedAsItAppears(self):
        program = self.program
        shown = self.alerts()
        self.mark_first_two()
        self.open_review()
        program.find("Move to Trash", role="push button").press()
        program.wait(lambda: "2 items moved to Trash · 0 skipped or failed" in shown, "word of the banner")

    def test_aRefusedMark_isAnnouncedEachTime(self):
        program = self.program
        shown = self.alerts()
        refusal = "The folder that was scanned cannot be marked itself, only what lies in it. Nothing was changed."
        for times in (1, 2):
            program.find("Disk map").click(modifier="ctrl")  # its middle is the folder itself
            program.wait(lambda times=times: shown.count(refusal) == times, f"word of the refusal, {times}")

    def test_permanentDeletion_takesTwoDecisionsAfterTheSwitch(self):
        program = self.program
        self.mark_first_two()
        self.open_review()
        program.key("Tab", "Tab", "Tab")
        self.wait_focus("Permanently delete instead of moving to Trash")
        program.key("space")
        program.find("Permanent deletion cannot be undone.", inside="dialog")
        program.key("Tab", "Tab")
        self.wait_focus("Review permanent deletion…")
        program.key("Return")
        program.find("Permanently delete 2 items?")
        self.assertEqual(self.files(), set(SIZES))
        program.key("Return")  # the keyboard is on "Cancel"
        program.wait(lambda: not program.has("Permanently delete 2 items?"), "the way back to the review")
        self.assertTrue(program.has("Review permanent deletion…"), "the switch stands")
        self.assertEqual(self.files(), set(SIZES))

        program.key("Return")
        program.find("Permanently delete 2 items?")
        program.key("Tab")
        self.wait_focus("Delete Permanently")
        self.assertEqual(self.files(), set(SIZES))
        program.key("space")
        program.find("2 items deleted · 0 skipped or failed", role="alert")
        self.assertEqual(self.files(), {"letter.pdf", "notes.txt"})
        self.assertEqual(self.trashed(), [])
        self.assertEqual(list(self.folder.glob(".larkfold*")), [])
        record = self.records()[0]
        self.assertTrue(record["permanent"])
        self.assertFalse(any("trashPath" in item for item in record["items"]))
        program.find("View history", role="push button").press()
        program.find(contains=f"{self.folder}/film.mov, Permanently deleted — no Trash copy", role="list item")

    def test_cancel_leavesEverythingWhereItIs(self):
        program = self.program
        records = len(self.records())
        self.mark_first_two()
        for way in ("Escape", "Return"):
            self.open_review()
            program.key(way)
            self.wait_closed()
        program.find("Delete Selected", role="push button").press()
        program.find("Review cleanup", inside="dialog")
        program.find("Permanently delete instead of moving to Trash").press()
        program.find("Review permanent deletion…", role="push button").press()
        program.find("Permanently delete 2 items?")
        program.key("Escape")
        program.wait(lambda: not program.has("Permanently delete 2 items?"), "the way back to the review")
        program.key("Escape")
        self.wait_closed()
        self.assertEqual(self.files(), set(SIZES))
        self.assertEqual(self.trashed(), [])
        self.assertEqual(len(self.records()), records)
        self.assertFalse(program.has("View history"))
        self.assertTrue(program.has(contains="2 items, 5 MB marked"), "the marks stay")
        # The keyboard is back in the list: Space marks the third.
        program.find(role="list item", contains="letter.pdf").click()
        program.key("space")
        program.find(contains="3 items, 5.9 MB marked")

    def test_whatWasReplacedByALinkSinceTheScan_staysAndIsTold(self):
        program = self.program
        self.mark_first_two()
        self.open_review()
        (self.folder / "film.mov").unlink()
        (self.folder / "film.mov").symlink_to(self.folder / "letter.pdf")
        program.find("Move to Trash", role="push button").press()
        program.find("1 items moved to Trash · 1 skipped or failed", role="alert")
        program.find(contains="film.mov: This path is protected or outside the selected folder. Scan again before "
                              "deleting.")
        self.assertTrue((self.folder / "film.mov").is_symlink())
        self.assertTrue((self.folder / "letter.pdf").exists())
        self.assertEqual(self.trashed(), ["album"])
        program.find(contains="1 item, 3 MB marked")


if __name__ == "__main__":
    unittest.main(verbosity=2)

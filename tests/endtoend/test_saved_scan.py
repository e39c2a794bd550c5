#!/usr/bin/python3
"""The saved scan in the real window: it comes back at the next start, what changed is known, only that is scanned again,
and it can be forgotten.

    tests/endtoend/test_saved_scan.py PROGRAM
"""

import os
import shutil
import sys
import unittest
from pathlib import Path

from larkfold_driver import Session

PROGRAM = sys.argv.pop(1) if len(sys.argv) > 1 else os.environ["LARKFOLD_PROGRAM"]
# Where pictures of the way go, if anywhere, and whether they are dark.
PICTURES = os.environ.get("LARKFOLD_PICTURES")
DARK = "LARKFOLD_DARK" in os.environ


def allocated(folder):
    """What du says of the files in a folder; folders themselves take nothing in the map."""
    total = 0
    for path in Path(folder).rglob("*"):
        if path.is_file() and not path.is_symlink():
            total += path.stat().st_blocks * 512
    return total


class SavedScan(unittest.TestCase):
    """One session for all tests of this file; each begins without an index and with the same files."""

    @classmethod
    def setUpClass(cls):
        cls.session = cls.enterClassContext(Session(dark=DARK))
        cls.tree = cls.session.home / "tree"
        cls.index = cls.session.home / ".local/share/Larkfold/latest-scan.sqlite"

    def setUp(self):
        shutil.rmtree(self.tree, ignore_errors=True)
        self.index.unlink(missing_ok=True)
        for name, size in {"a/one": 700_000, "a/two": 300_000, "b/c/three": 500_000, "d/four": 90_000}.items():
            self.write(name, size)

    def write(self, name, size):
        path = self.tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"x" * size)
        return path

    def picture(self, larkfold, name):
        if PICTURES:
            larkfold.screenshot(Path(PICTURES) / f"{name}.png")

    def has_text(self, larkfold, part):
        larkfold.wait(lambda: any(part in text for text in larkfold.texts()), part)

    def row(self, larkfold, name):
        return larkfold.wait(lambda: next((row for row in larkfold.find_all(role="list item")
                                           if row.name.startswith(name + ",")), None), f"a row of {name}")

    def refresh(self, larkfold, entry):
        larkfold.find("Refresh", role="push button").click()
        larkfold.find(contains=entry, role="menu item").click()

    def total_is(self, larkfold, size):
        """Waits until the status line tells that sum."""
        text = f"{size / 1e6:.1f}".removesuffix(".0") + " MB"
        larkfold.wait(lambda: any(one.startswith(text) for one in larkfold.totals() or []) or
                      text in " ".join(larkfold.texts()), f"a total of {text}")

    def test_the_scan_comes_back_and_only_what_changed_is_scanned_again(self):
        with self.session.start(PROGRAM) as larkfold:
            larkfold.scan_folder(str(self.tree))
            self.has_text(larkfold, "Saved on this computer.")
            self.picture(larkfold, "saved-1-scanned")
            # While the window is open a change is noticed by itself.
            self.write("b/c/new", 400_000)
            self.has_text(larkfold, "Changed folders (1)")
            self.picture(larkfold, "saved-2-changed")
            self.refresh(larkfold, "Changed folders (1)")
            self.has_text(larkfold, "Updated 1 changed folder(s); other folders retain their previous scan.")
            self.total_is(larkfold, allocated(self.tree))
            self.picture(larkfold, "saved-3-refreshed")
            larkfold.terminate()

        # While it is closed nobody watches.
        shutil.rmtree(self.tree / "d")
        self.write("e/five", 600_000)
        with self.session.start(PROGRAM) as larkfold:
            larkfold.wait_for_map()
            self.has_text(larkfold, "Saved snapshot from ")
            self.has_text(larkfold, "Changed folders (1)")
            self.assertFalse(larkfold.has(contains="e, Folder", role="list item"))
            self.picture(larkfold, "saved-4-restored")
            self.refresh(larkfold, "Changed folders (1)")
            self.has_text(larkfold, "Updated 1 changed folder(s)")
            self.total_is(larkfold, allocated(self.tree))
            self.row(larkfold, "e")
            self.assertFalse(larkfold.has(contains="d, Folder", role="list item"))
            # The folder on screen alone.
            self.write("e/six", 100_000)
            self.write("a/three", 100_000)
            self.row(larkfold, "e").click()
            larkfold.key("Return")
            self.row(larkfold, "five")
            self.refresh(larkfold, "Current folder")
            self.has_text(larkfold, "Updated 1 changed folder(s)")
            self.row(larkfold, "e")
            self.has_text(larkfold, "Changed folders (")
            larkfold.terminate()

    def test_forgetting_asks_first_and_keeps_the_map(self):
        with self.session.start(PROGRAM) as larkfold:
            larkfold.scan_folder(str(self.tree))
            self.assertTrue(self.index.exists())
            larkfold.find("Forget saved scan…", role="push button").click()
            larkfold.find("Forget saved scan?")
            self.picture(larkfold, "saved-5-forget")
            larkfold.find("Cancel", role="push button").click()
            larkfold.wait(lambda: not larkfold.has("Forget saved scan?"), "the question's end")
            self.assertTrue(self.index.exists())
            larkfold.find("Forget saved scan…", role="push button").click()
            larkfold.find("Forget", role="push button").click()
            self.has_text(larkfold, "Saved index removed.")
            self.assertFalse(self.index.exists())
            self.row(larkfold, "a")
            self.picture(larkfold, "saved-6-forgotten")
            larkfold.terminate()
        with self.session.start(PROGRAM) as larkfold:
            larkfold.find("Scan Folder", role="push button")
            self.assertFalse(larkfold.totals())
            larkfold.terminate()

    def test_a_damaged_index_gives_no_map_and_a_sentence(self):
        with self.session.start(PROGRAM) as larkfold:
            larkfold.scan_folder(str(self.tree))
            larkfold.terminate()
        self.index.write_bytes(b"no index at all" * 100)
        with self.session.start(PROGRAM) as larkfold:
            self.has_text(larkfold, "Could not restore the saved scan: Scan index: file is not a database")
            self.picture(larkfold, "saved-7-damaged")
            larkfold.find("Scan Folder", role="push button")
            larkfold.scan_folder(str(self.tree))
            larkfold.terminate()


if __name__ == "__main__":
    unittest.main(verbosity=2)

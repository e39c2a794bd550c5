#!/usr/bin/python3
"""The ways to a folder in the real window: the window's own chooser by keys alone, and the desktop's dialog where there
is one.

    tests/endtoend/test_folder_chooser.py PROGRAM
"""

import os
import shutil
import sqlite3
import sys
import tempfile
import unittest
from pathlib import Path

from larkfold_driver import Session

PROGRAM = sys.argv.pop(1) if len(sys.argv) > 1 else os.environ["LARKFOLD_PROGRAM"]


class FolderChooser(unittest.TestCase):
    """One program for all tests of this file; each begins on the start page."""

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="larkfold-chosen.", dir="/var/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        # The last byte is no UTF-8. The sibling of that look holds something else.
        for name, content in ((b"caf\xe9", b"inside"), (b"caf\xe8", b"beside")):
            path = os.path.join(os.fsencode(cls.folder), b"names", name)
            os.makedirs(path)
            with open(os.path.join(path, content + b".txt"), "wb") as file:
                file.write(b"x" * 5000)
        (cls.folder / "plain/inner").mkdir(parents=True)
        (cls.folder / "plain/.hidden").mkdir()
        (cls.folder / "plain/file.txt").write_bytes(b"x" * 7000)
        cls.session = cls.enterClassContext(Session())
        cls.program = cls.enterClassContext(cls.session.start(PROGRAM))
        cls.program.resize(900, 600)

    def setUp(self):
        program = self.program
        if program.has(role="dialog"):
            program.key("Escape", "Escape")
            program.wait(lambda: not program.has(role="dialog"), "the end of the dialog")
        if program.has("New Scan", role="push button"):
            program.find("New Scan", role="push button").click()
        program.find("Scan Folder", role="push button")

    def ask(self):
        self.program.find("Scan Folder", role="push button").click()
        self.program.find("Select a folder to scan", role="dialog")
        self.wait_focus("list", "list item")

    def wait_focus(self, *roles):
        self.program.wait(lambda: any(element.focused for element in self.program.elements() if element.role in roles),
                          f"the keyboard in a {' or '.join(roles)}")

    def rows(self):
        return [row.name for lists in self.program.find_all(role="list", inside="dialog")
                if lists.name.startswith("Folders in ") for row in lists.children() if row.showing]

    def chosen(self):
        return next((element.name.removeprefix("Folder to open: ") for element in self.program.elements()
                     if element.name.startswith("Folder to open: ")), None)

    def wait_chosen(self, path):
        self.program.wait(lambda: self.chosen() == str(path), f"{path} as what would be opened")

    def scanned_files(self):
        index = self.session.home / ".local/share/Larkfold/latest-scan.sqlite"
        connection = sqlite3.connect(f"file:{index}?mode=ro", uri=True)
        connection.text_factory = bytes
        return [name for (name,) in connection.execute("SELECT name FROM nodes WHERE directory=0")]

    def test_keysAlone_chooseAFolderWhoseNameIsNoText(self):
        program = self.program
        self.ask()
        program.key("ctrl+l")
        self.wait_focus("text")
        program.type(f"{self.folder}/names")
        program.key("Return")
        self.wait_chosen(self.folder / "names")
        program.wait(lambda: self.rows() == ["caf\ufffd, folder"] * 2, "both folders, their names repaired")
        wanted = sorted((b"caf\xe9", b"caf\xe8")).index(b"caf\xe9")
        program.key(*["Down"] * (wanted + 1))
        self.wait_chosen(self.folder / "names/caf\ufffd")
        program.key("Return")  # goes in
        program.find("No folders in here")
        program.key("Return")  # chooses it
        program.wait(lambda: not program.has(role="dialog"), "the end of the dialog")
        program.wait_for_map()
        self.assertIn(" in 1 file, 1 folder", program.totals())
        self.assertEqual(self.scanned_files(), [b"inside.txt"])

    def test_keys_goUpFindByNameAndShowHiddenFolders(self):
        program = self.program
        self.ask()
        program.type_path(str(self.folder / "plain/inner"))
        self.wait_chosen(self.folder / "plain/inner")
        self.wait_focus("list", "list item")
        program.key("BackSpace")
        self.wait_chosen(self.folder / "plain/inner")  # highlighted in the folder above
        program.wait(lambda: self.rows() == ["inner, folder"], "the folder above")
        program.key("ctrl+h")
        program.wait(lambda: self.rows() == [".hidden, hidden folder", "inner, folder"], "the hidden folder")
        program.key("ctrl+h")
        program.key("alt+Up")
        program.wait(lambda: self.rows() == ["names, folder", "plain, folder"], "the folder above that")
        program.type("na")
        self.wait_chosen(self.folder / "names")
        program.key("Escape")
        program.wait(lambda: not program.has(role="dialog"), "the end of the dialog")
        program.wait(lambda: program.find("Scan Folder", role="push button").focused, "the keyboard where it was")

    def test_aPathThatLeadsNowhere_isToldAndTheDialogStays(self):
        program = self.program
        self.ask()
        program.type_path(str(self.folder / "nowhere"))
        program.find(f"There is no folder “{self.folder}/nowhere”. Check the spelling, or choose a folder from the list.")
        program.key("Escape")
        self.wait_focus("list", "list item")
        program.find("Select a folder to scan", role="dialog")
        program.type("/")
        field = program.find("Path of a folder", role="text", inside="dialog")
        program.wait(lambda: field.text == "/", "the slash that was typed")
        program.type(f"{self.folder}/plain"[1:])
        program.key("Return")
        self.wait_chosen(self.folder / "plain")

    def test_tab_goesThroughTheDialogInTheOrderItIsDrawn(self):
        program = self.program
        self.ask()
        program.type_path(str(self.folder / "plain"))
        self.wait_chosen(self.folder / "plain")
        self.wait_focus("list", "list item")

        def focused():
            return next((element.name for element in program.elements()
                         if element.focused and element.role in ("push button", "check box", "list")), None)

        met = []
        for _ in range(40):
            before = focused()
            program.key("Tab")
            program.wait(lambda before=before: focused() not in (None, before), "the next stop of the keyboard")
            met.append(focused())
            if met[-1].startswith("Folders in "):
                break
        crumbs = ["/", *self.folder.parts[1:], "plain"]
        self.assertEqual(met, ["Show hidden folders", "Cancel", "Open", "Up", *crumbs, "Type a path", "Places",
                               "Folders in plain"])

    def test_aDesktopWithADialog_isAskedAndItsAnswerIsTheBytes(self):
        program = self.program
        chosen = os.path.join(os.fsencode(self.folder), b"names", b"caf\xe8")
        with self.session.folder_dialog(chosen) as questions:
            program.find("Scan Folder", role="push button").click()
            program.wait_for_map()
        self.assertEqual(self.scanned_files(), [b"beside.txt"])
        self.assertEqual(len(questions), 1)
        self.assertEqual(questions[0]["title"], "Select a folder to scan")
        self.assertEqual(questions[0]["directory"], True)
        self.assertEqual(questions[0]["multiple"], False)
        self.assertEqual(questions[0]["window"], f"x11:{int(program.window_id):x}")

    def test_turningBackInTheDesktopsDialog_startsNothing(self):
        program = self.program
        with self.session.folder_dialog(None) as questions:
            program.find("Scan Folder", role="push button").click()
            program.wait(lambda: questions, "the question")
            # The next question shows that the first one is over.
            program.find("Scan Folder", role="push button").click()
            program.wait(lambda: len(questions) == 2, "the next question")
        self.assertFalse(program.has(role="dialog"))
        self.assertFalse(program.has("Cancel", role="push button"))


if __name__ == "__main__":
    unittest.main(verbosity=2, warnings="ignore")

#!/usr/bin/python3
"""The settings of the real program, by keys and as assistive technology reads them: what is changed is there at the next
start, and the program ends with its main window whatever else is open.

    tests/endtoend/test_settings.py PROGRAM
"""

import json
import sys
import unittest

from larkfold_driver import Session

PROGRAM = sys.argv.pop(1)


class Settings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = cls.enterClassContext(Session())

    def stored(self):
        return json.loads((self.session.home / ".config/Larkfold/settings.json").read_text(encoding="utf-8"))

    def test_changesHoldAtTheNextStartAndTheProgramEndsWithItsMainWindow(self):
        with self.session.start(PROGRAM) as larkfold:
            larkfold.find("Scan Folder", role="push button")
            larkfold.key("ctrl+comma")
            larkfold.find("Show Onboarding Again", role="push button")
            with larkfold.in_window("Settings"):
                larkfold.key("Return")
                larkfold.find("The onboarding screens will be shown next time you open Larkfold.")
                larkfold.key("Return")
                larkfold.wait(lambda: not larkfold.has("Reset Onboarding"), "the end of the question")
                larkfold.key("Tab", "space")
                larkfold.wait(lambda: self.stored().get("skipHiddenFiles") is False, "the switch's value in the settings")
                larkfold.key("Tab", "Return", "Down", "Down", "Return")
                larkfold.wait(lambda: self.stored().get("minimumDuplicateSize") == 1_048_576, "the size in the settings")
            self.assertIs(self.stored()["hasCompletedOnboarding"], False)
            self.assertTrue(larkfold.has("Scan Folder", role="push button"), "no effect until the next start")
            larkfold.key("ctrl+q")
            self.assertEqual(larkfold.wait_for_end(), 0, "with the settings still open")
        with self.session.start(PROGRAM) as larkfold:
            larkfold.find("Welcome to Larkfold")


if __name__ == "__main__":
    unittest.main(verbosity=2)

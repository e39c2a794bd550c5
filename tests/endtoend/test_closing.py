#!/usr/bin/python3
"""The window is closed in the middle of a removal: the item that was begun is finished, what comes after it stays, and the
history names them all.

    tests/endtoend/test_closing.py PROGRAM
"""

import json
import os
import sys
import unittest

from larkfold_driver import Session, wait_until

PROGRAM = sys.argv.pop(1) if len(sys.argv) > 1 else os.environ["LARKFOLD_PROGRAM"]
MANY = 40_000


class Closing(unittest.TestCase):
    def test_whatWasBegunIsFinished_theRestStays_andTheRecordNamesBoth(self):
        with Session() as session:
            folder = session.home / "Documents"
            (folder / "later").mkdir(parents=True)
            for number in range(4):
                (folder / "later" / f"{number}.bin").write_bytes(b"x" * 4096)
            many = folder / "many"
            many.mkdir()
            for number in range(MANY):
                (many / f"{number}").write_bytes(b"12345678")
            with session.start(PROGRAM) as program:
                program.scan_folder(folder)
                program.find(contains="many, Folder", role="list item").click()
                program.key("space")
                program.find(contains="later, Folder", role="list item").click()
                program.key("space")
                program.find(contains="2 items, ")
                program.key("Delete")
                program.find("Review cleanup", inside="dialog")
                program.find("Permanently delete instead of moving to Trash").press()
                program.find("Review permanent deletion…", role="push button").press()
                program.find("Permanently delete 2 items?")
                program.find("Delete Permanently", role="push button").press()
                # In its folder beside its old place it is being taken apart.
                wait_until(lambda: any(folder.glob(".larkfold-removing-*")), "the removal's begin")
                program.key("ctrl+q")
                program.wait_for_end()
            self.assertEqual(list(folder.glob(".larkfold*")), [])
            self.assertFalse(many.exists(), "what was begun is finished")
            record = json.loads((session.home / ".local/share/Larkfold/cleanup-history.json").read_text())[0]
            self.assertTrue(record["permanent"])
            became = {item["originalPath"]: item for item in record["items"]}
            self.assertEqual(set(became), {str(many), str(folder / "later")})
            self.assertNotIn("error", became[str(many)])
            # Closed in time, the second stays. On a machine on which it was done by then the record says so.
            stays = (folder / "later").exists()
            self.assertEqual("error" in became[str(folder / "later")], stays)
            if stays:
                self.assertEqual(len(list((folder / "later").iterdir())), 4)


if __name__ == "__main__":
    unittest.main(verbosity=2)

"""Whether scripts/branch-coverage.py fails where a branch is missing, and lets nothing be excused without a reason."""

import json
import subprocess
import tempfile
import unittest
from pathlib import Path

PROGRAM = Path(__file__).resolve().parents[2] / "scripts/branch-coverage.py"


class BranchCoverage(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def ask(self, text, *branches, counted="a.cpp"):
        """`branches`: of the text, each as line, how often it was true and how often false."""
        (self.folder / "a.cpp").write_text(text, encoding="utf-8")
        rows = [[line, 1, line, 6, true, false, 0, 0, 4] for line, true, false in branches]
        export = {"data": [{"files": [{"filename": str(self.folder / counted), "branches": rows}]}]}
        (self.folder / "all.json").write_text(json.dumps(export), encoding="utf-8")
        answer = subprocess.run(["/usr/bin/python3", "-B", PROGRAM, "all.json", "a.cpp"], cwd=self.folder,
                                capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual(answer.stderr, "")
        return answer.returncode, answer.stdout

    def test_everything_taken_is_a_success(self):
        code, told = self.ask("if (x)\n", (1, 3, 1))
        self.assertEqual(code, 0)
        self.assertIn("a.cpp: 2 of 2 branches, 100.0 %\n", told)

    def test_a_missing_branch_is_named_and_a_failure(self):
        code, told = self.ask("if (x)\nif (y)\n", (1, 3, 1), (2, 0, 5))
        self.assertEqual(code, 1)
        self.assertIn("a.cpp: 3 of 4 branches, 75.0 %", told)
        self.assertIn("a.cpp:2: “if (y” is never true", told)

    def test_counts_of_several_instances_add_up(self):
        self.assertEqual(self.ask("if (x)\n", (1, 3, 0), (1, 0, 2))[0], 0)

    def test_a_file_that_was_not_counted_is_a_failure(self):
        self.assertEqual(self.ask("if (x)\n", (1, 1, 1), counted="b.cpp")[0], 1)

    def test_an_excuse_with_a_reason_is_counted_apart(self):
        for text in ("if (x)  // not reached: nobody can\n", "// not reached: nobody\n// can\nif (x)\n"):
            line = text.count("\n")
            code, told = self.ask(text, (line, 0, 2))
            self.assertEqual(code, 0, told)
            self.assertIn("1 of 1 branches, 100.0 %, 1 more excused", told)
            self.assertIn("is never true; excused: nobody can", told)
            self.assertIn("1 branches excused, with reasons", told)

    def test_an_excuse_without_a_reason_is_a_failure(self):
        self.assertEqual(self.ask("if (x)  // not reached:\n", (1, 0, 2))[0], 1)

    def test_an_excuse_that_nothing_needs_is_a_failure(self):
        code, told = self.ask("if (x)  // not reached: nobody can\n", (1, 1, 2))
        self.assertEqual(code, 1)
        self.assertIn("nothing needs this excuse", told)


if __name__ == "__main__":
    unittest.main()

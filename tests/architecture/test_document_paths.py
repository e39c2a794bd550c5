"""Every path that a document of the repository names exists, so that the documents stay true."""

import os
import re
import unittest
from pathlib import Path

SOURCE = Path(os.environ.get("LARKFOLD_SOURCE", Path(__file__).resolve().parents[2]))
TOP = "src|tests|scripts|docs|benchmarks|cmake|fuzz|packaging|\\.ci"


def documents():
    found = [SOURCE / "README.md"]
    for folder in re.sub(r"\\", "", TOP).split("|"):
        found += sorted((SOURCE / folder).rglob("*.md"))
    return found


def named_paths(text, beside):
    """(as written, where it must be) of each path that `text` names; `beside` is the folder of the document."""
    fences = re.compile(r"^```.*?^```", re.DOTALL | re.MULTILINE)
    found = []
    for target in re.findall(r"\]\(([^)\s]+)\)", fences.sub("", text)):
        if not re.match(r"[a-z]+:|#", target):
            found.append((target, beside / target.split("#")[0]))
    # In code spans and in the commands of code blocks.
    spans = re.findall(r"`([^`\n]+)`", fences.sub("", text)) + fences.findall(text)
    for span in spans:
        for path in re.findall(rf"(?<![\w/.~$}}-])((?:{TOP})/[\w./*<>{{}}-]*[\w/*])", span):
            found.append((path, SOURCE / path))
        for path in re.findall(r"(?<![\w/.])(CMakePresets\.json|CMakeLists\.txt|README\.md|\.clang-\w+)", span):
            found.append((path, beside / path if (beside / path).exists() else SOURCE / path))
    return found


def missing(text, beside):
    wrong = []
    for written, path in named_paths(text, beside):
        if re.search(r"[<>{}]", written):
            continue  # a pattern with a named hole
        if "*" in written:
            if not any(SOURCE.glob(written)):
                wrong.append(written)
        elif not path.exists():
            wrong.append(written)
    return wrong


class Documents(unittest.TestCase):
    def test_everyNamedPathExists(self):
        for document in documents():
            with self.subTest(document=str(document.relative_to(SOURCE))):
                self.assertEqual(missing(document.read_text(encoding="utf-8"), document.parent), [])

    def test_theReadmeNamesPathsAtAll(self):
        self.assertGreater(len(named_paths((SOURCE / "README.md").read_text(encoding="utf-8"), SOURCE)), 5)


class NegativeControls(unittest.TestCase):
    def test_missingPathsAreReported(self):
        self.assertEqual(missing("see `src/nowhere/File.h`", SOURCE), ["src/nowhere/File.h"])
        self.assertEqual(missing("![picture](docs/images/none.png)", SOURCE), ["docs/images/none.png"])
        self.assertEqual(missing("```\nscripts/none --flag\n```", SOURCE), ["scripts/none"])
        self.assertEqual(missing("`docs/none-*.md`", SOURCE), ["docs/none-*.md"])

    def test_existingPathsAndAddressesAreNot(self):
        self.assertEqual(missing("`scripts/test`, [tests](tests), [site](https://example.org/src/none)", SOURCE), [])
        self.assertEqual(missing("`build/release/src/none`", SOURCE), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)

#!/usr/bin/python3
"""The package depends on every QML module that the views import, and on no other: no library dependency finds them, and
where one is missing the program ends at its start, on somebody else's machine.

    tests/packaging/test_dependencies.py SOURCE BUILD QML_MODULES
"""

import functools
import re
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE, BUILD, MODULES = (Path(sys.argv.pop(1)) for _ in range(3))
OURS = "Larkfold."


def declared():
    """What the package depends on beside the libraries that its making finds."""
    text = (BUILD / "CPackConfig.cmake").read_text()
    return set(re.search(r'^set\(CPACK_DEBIAN_PACKAGE_DEPENDS "(.*)"\)$', text, re.M)[1].split(", "))


def imports_of(text):
    """The modules that a view imports."""
    return set(re.findall(r"^\s*import\s+([A-Z]\w*(?:\.\w+)*)", text, re.M))


def imports_within(folder):
    """The modules that all views of a folder import, and those that its list of contents asks for."""
    found = set()
    for view in folder.glob("*.qml"):
        found |= imports_of(view.read_text(encoding="utf-8"))
    contents = folder / "qmldir"
    if contents.exists():
        # Not "optional import": what is looked for and may be missing.
        found |= set(re.findall(r"^(?:depends|import|default import)\s+([\w.]+)", contents.read_text(), re.M))
    return found


def views():
    """Our views' folders, also the folders that the build makes modules of."""
    return sorted({view.parent for view in (SOURCE / "src").rglob("*.qml")} | set((BUILD / "qml").rglob("Larkfold/*")))


def with_what_they_need(modules):
    """The modules and all that these ask for in turn, without ours."""
    found, pending = set(), list(modules)
    while pending:
        module = pending.pop()
        if module not in found and not module.startswith(OURS):
            found.add(module)
            pending += imports_within(MODULES / module.replace(".", "/"))
    return found


@functools.cache
def package_of(module):
    """The package that brings a module; nothing where none is installed that does."""
    contents = MODULES / module.replace(".", "/") / "qmldir"
    answer = subprocess.run(["dpkg-query", "--search", contents], capture_output=True, text=True, check=False)
    return answer.stdout.split(":")[0] or None


def missing(modules, packages):
    """(module, package) of what the packages lack; no package: it is not installed here either."""
    return sorted((module, str(package_of(module))) for module in with_what_they_need(modules)
                  if package_of(module) not in packages)


class Dependencies(unittest.TestCase):
    def setUp(self):
        self.imports = set().union(*(imports_within(folder) for folder in views()))

    def test_every_imported_module_has_its_package(self):
        self.assertIn("QtQuick", self.imports)
        self.assertEqual(missing(self.imports, declared()), [],
                         'A view imports what the package would not bring along: add it to "run: depends" in scripts/packages.')

    def test_no_module_comes_along_for_nothing(self):
        wanted = {package_of(module) for module in with_what_they_need(self.imports)}
        self.assertEqual({name for name in declared() if name.startswith("qml6-")} - wanted, set(),
                         'No view imports it: take it out of "run: depends" in scripts/packages.')

    def test_the_icons_can_be_read(self):
        # The toolkit reads drawings by plugins that nothing links.
        self.assertTrue(list((SOURCE / "src/shell/icons").rglob("*.svg")))
        self.assertIn("libqt6svg6", declared())

    def test_a_missing_module_would_be_noticed(self):
        for package in sorted(name for name in declared() if name.startswith("qml6-")):
            with self.subTest(package):
                self.assertIn(package, dict((b, a) for a, b in missing(self.imports, declared() - {package})))
        self.assertEqual(missing({"QtQuick.NoSuchModule"}, declared()), [("QtQuick.NoSuchModule", "None")])

    def test_imports_are_read_however_they_are_written(self):
        self.assertEqual(imports_of('import QtQuick\n  import QtQuick.Templates 6.4 as T\nimport "folder"\n// import QtTest\n'),
                         {"QtQuick", "QtQuick.Templates"})


if __name__ == "__main__":
    unittest.main()

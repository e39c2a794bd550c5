"""What removes, renames or truncates is called from the object files of the platform layer and from no others.

Sources can hide a call behind a macro or a library's header; an object file cannot: what it calls stands among its
undefined symbols. SQLite and Qt are libraries of the system and do their own work outside of our objects.
"""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

FORBIDDEN = re.compile(
    r"^(unlink|unlinkat|rename|renameat|renameat2|remove|rmdir|f?truncate(64)?|creat(64)?|open(at)?2?(64)?|f(re)?open(64)?"
    r"|mkstemp(s)?(64)?|mkostemp(64)?|link|linkat|symlink|symlinkat|syscall|fork|vfork|posix_spawnp?|exec[vl]p?e?|system|popen"
    r"|std::filesystem::(__cxx11::)?(remove|remove_all|rename|resize_file|copy|copy_file|create_\w+)\(.*"
    r"|std::basic_(of|f|file)\w*<.*"
    r"|Q(File|Dir|SaveFile|TemporaryFile|TemporaryDir)::(remove|rename|resize|moveToTrash|copy|link|rmdir|rmpath|mkdir|mkpath"
    r"|removeRecursively|QSaveFile|QTemporaryFile|QTemporaryDir)\(.*)$")
PLATFORM = {"larkfold_platform", "larkfold_platform_qt"}


def undefined_symbols(files):
    """Undefined symbols, demangled, of objects and static libraries."""
    output = subprocess.run([os.environ.get("LARKFOLD_NM") or "nm", "-u", "-C", "--format=posix", *files],
                            check=True, capture_output=True, text=True).stdout
    symbols = set()
    for line in output.splitlines():
        match = re.match(r"(.+?) [Uw](\s.*)?$", line)
        if match:
            symbols.add(re.sub(r"@.*$", "", match.group(1)))
    return symbols


def forbidden(files):
    return sorted(symbol for symbol in undefined_symbols(files) if FORBIDDEN.match(symbol))


def targets():
    rows = {}
    for line in Path(os.environ["LARKFOLD_OBJECTS"]).read_text().splitlines():
        name, *files = line.split("\t")
        rows[name] = [file for file in files if file]
    return rows


class ObjectFiles(unittest.TestCase):
    def test_allTargetsAreSeen(self):
        self.assertLessEqual({"larkfold", "larkfold_disk", "larkfold_disk_ui", "larkfold_platform", "larkfold_shell_ui",
                              "larkfold_removal_rules"}, set(targets()))

    def test_nothingOutsideThePlatformRemovesRenamesOrTruncates(self):
        for name, files in targets().items():
            if name in PLATFORM or not files:
                continue
            with self.subTest(target=name):
                self.assertEqual(forbidden(files), [])

    def test_thePlatformItselfIsSeenToDoIt(self):
        found = set(forbidden(targets()["larkfold_platform"]))
        self.assertTrue(found & {"unlink", "unlinkat"}, found)
        self.assertTrue(found & {"rename", "renameat", "renameat2"}, found)

    def test_aSampleThatCallsThemIsReported(self):
        sample = """
            #include <cstdio>
            #include <filesystem>
            #include <fstream>
            #include <unistd.h>
            #define HIDDEN(path) ::unlink(path)
            void f(const char* path) { HIDDEN(path); std::rename(path, path); std::remove(path); }
            int g(int file, const char* path) { return ftruncate(file, 0) + rmdir(path); }
            void h(const std::filesystem::path& path) { std::filesystem::remove_all(path); }
            void i(const char* path) { std::ofstream(path) << 1; }
        """
        with tempfile.TemporaryDirectory() as folder:
            source, result = Path(folder) / "sample.cpp", Path(folder) / "sample.o"
            source.write_text(sample)
            subprocess.run([os.environ.get("LARKFOLD_CXX") or "c++", "-std=c++20", "-c", source, "-o", result], check=True)
            found = forbidden([str(result)])
        for symbol in ["unlink", "rename", "remove", "ftruncate", "rmdir"]:
            self.assertIn(symbol, found)
        self.assertTrue(any(symbol.startswith("std::filesystem::") for symbol in found), found)
        self.assertTrue(any("basic_ofstream" in symbol for symbol in found), found)


if __name__ == "__main__":
    unittest.main(verbosity=2)

#!/usr/bin/python3
"""What an installation puts beside the program, and that the parts know each other: entry, icon, metainfo, manual page and
the window itself.

    tests/packaging/test_installed.py SOURCE BUILD VERSION CMAKE
"""

import configparser
import gzip
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

SOURCE, BUILD = (Path(sys.argv.pop(1)) for _ in range(2))
VERSION, CMAKE = (sys.argv.pop(1) for _ in range(2))
sys.path.insert(0, str(SOURCE / "tests/endtoend"))
from larkfold_driver import Session  # noqa: E402

IDENTIFIER = "com.ostenbrook.larkfold"
SIZES = (16, 24, 32, 48, 64, 128, 256)
# What the toolkit has loaded by name, in the list of a process's mappings.
PLUGINS = re.compile(r"(/\S+/qt6/(?:plugins|qml)/\S+\.so)$", re.M)


def packages(*command):
    """The packages that dpkg names in an answer of lines such as "name:amd64: /path"."""
    answer = subprocess.run(["dpkg-query", *command], capture_output=True, text=True, check=True).stdout
    return {line.split(":")[0] for line in answer.splitlines()}


def sizes_of_pictures(values):
    """Of the pictures of a window's icon, each a width, a height and its points; none may be all transparent."""
    found = []
    while values:
        width, height, *values = values
        if any(values[: width * height]):
            found.append((width, height))
        values = values[width * height :]
    return found


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="larkfold-installed."))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", cls.folder], check=True, stdout=subprocess.DEVNULL)
        entry = configparser.ConfigParser(interpolation=None)
        entry.optionxform = str
        entry.read(cls.folder / f"share/applications/{IDENTIFIER}.desktop", encoding="utf-8")
        cls.entry = entry["Desktop Entry"]
        cls.metainfo = ElementTree.parse(cls.folder / f"share/metainfo/{IDENTIFIER}.metainfo.xml").getroot()
        changelog = cls.read_compressed("share/doc/larkfold/changelog.Debian.gz")
        # The toolkit of assistive technology bears one session in a process.
        cls.session = cls.enterClassContext(Session())
        cls.newest = re.match(r"larkfold \((\S+)-\d+\).*?\n -- .*?>  \w+, (\d+ \w+ \d+)", changelog, re.S)

    @classmethod
    def read_compressed(cls, path):
        return gzip.decompress((cls.folder / path).read_bytes()).decode()

    def test_nothing_is_installed_but_what_belongs_there(self):
        icons = [f"share/icons/hicolor/{size}x{size}/apps/{IDENTIFIER}.png" for size in SIZES]
        expected = ["bin/larkfold", f"share/applications/{IDENTIFIER}.desktop", *icons,
                    f"share/icons/hicolor/scalable/apps/{IDENTIFIER}.svg", f"share/metainfo/{IDENTIFIER}.metainfo.xml",
                    "share/man/man1/larkfold.1.gz", "share/doc/larkfold/changelog.Debian.gz",
                    "share/doc/larkfold/copyright", "share/lintian/overrides/larkfold"]
        found = [str(path.relative_to(self.folder)) for path in self.folder.rglob("*") if not path.is_dir()]
        self.assertEqual(sorted(found), sorted(expected))

    def test_the_entry_starts_the_program_and_is_the_windows_own(self):
        self.assertTrue((self.folder / "bin" / self.entry["Exec"]).is_file())
        main = (SOURCE / "src/shell/app/main.cpp").read_text()
        self.assertEqual(re.search(r'setDesktopFileName\(QStringLiteral\("(.*)"\)\)', main)[1], IDENTIFIER)

    def test_the_icon_is_there_in_every_size_that_its_folder_names(self):
        self.assertEqual(self.entry["Icon"], IDENTIFIER)
        for size in SIZES:
            picture = (self.folder / f"share/icons/hicolor/{size}x{size}/apps/{IDENTIFIER}.png").read_bytes()
            self.assertEqual(picture[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", picture[16:24]), (size, size))

    def test_the_metainfo_tells_of_this_program_and_this_version(self):
        self.assertEqual(self.metainfo.findtext("id"), IDENTIFIER)
        self.assertEqual(self.metainfo.findtext("launchable"), f"{IDENTIFIER}.desktop")
        self.assertEqual(self.metainfo.findtext("summary"), self.entry["Comment"])
        self.assertEqual(self.metainfo.findtext("provides/binary"), "larkfold")
        self.assertEqual(self.metainfo.find("releases/release").get("version"), VERSION)

    def test_changelog_metainfo_and_manual_page_tell_one_version_and_day(self):
        self.assertEqual(self.newest[1], VERSION)
        day = subprocess.run(["date", "--utc", "--date", self.newest[2], "+%F\t%B %-d, %Y"], capture_output=True, text=True,
                             check=True, env={"LC_ALL": "C"}).stdout.strip().split("\t")
        self.assertEqual(self.metainfo.find("releases/release").get("date"), day[0])
        manual = self.read_compressed("share/man/man1/larkfold.1.gz")
        self.assertIn(f".Dd {day[1]}\n", manual)
        self.assertIn(f'.Os "Larkfold {VERSION}"\n', manual)

    def test_compressed_files_hold_no_date_and_no_name(self):
        for path in ("share/man/man1/larkfold.1.gz", "share/doc/larkfold/changelog.Debian.gz"):
            head = (self.folder / path).read_bytes()[:8]
            self.assertEqual((head[:4], head[4:]), (b"\x1f\x8b\x08\x00", b"\0\0\0\0"), path)

    def test_the_manual_page_names_the_files_that_the_program_keeps(self):
        manual = self.read_compressed("share/man/man1/larkfold.1.gz")
        with self.session.start(self.folder / "bin/larkfold") as larkfold:
            larkfold.scan_folder(self.folder / "share")
            larkfold.terminate()
        kept = {f"~/{path.relative_to(self.session.home)}" for path in self.session.home.rglob("Larkfold/*")
                if path.suffix != ".lock"}
        self.assertIn("~/.local/share/Larkfold/latest-scan.sqlite", kept)
        self.assertEqual({path for path in kept if path not in manual}, set(), "They belong in packaging/larkfold.1.in.")

    def test_the_window_is_the_entrys_and_brings_its_icon(self):
        with self.session.start(self.folder / "bin/larkfold") as larkfold:
            told = {name: subprocess.run(["xprop", "-id", larkfold.window_id, "-notype", *form, name], text=True,
                                         env=self.session.environment, capture_output=True, check=True).stdout.split(" = ")[1]
                    for name, form in (("WM_CLASS", []), ("_NET_WM_ICON", ["-f", "_NET_WM_ICON", "32c"]))}
            plugins = set(PLUGINS.findall(Path(f"/proc/{larkfold.process.pid}/maps").read_text()))
        self.assertEqual(told["WM_CLASS"].split('"')[3], self.entry["StartupWMClass"])
        self.assertEqual(sizes_of_pictures([int(value) for value in told["_NET_WM_ICON"].split(",")]),
                         [(size, size) for size in SIZES if size <= 128])
        libraries = subprocess.run(["ldd", self.folder / "bin/larkfold"], capture_output=True, text=True, check=True).stdout
        # What it has loaded by name comes with the package's dependencies too.
        linked = packages("--search", *re.findall(r"=> \S*/(lib(?:Qt6|icu)\S+)", libraries))
        declared = re.search(r'_PACKAGE_DEPENDS "(.*)"\)', (BUILD / "CPackConfig.cmake").read_text())[1].split(", ")
        self.assertTrue(plugins)
        self.assertEqual(packages("--search", *plugins) - linked - set(declared), set())


if __name__ == "__main__":
    unittest.main()

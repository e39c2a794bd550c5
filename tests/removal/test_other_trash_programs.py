"""What we put into the Trash, other programs list and put back; what they put there, we leave alone or take away whole.

    test_other_trash_programs.py GATE_TOOL [unittest options...]

The other programs are gio (with its service for trash:///) and trash-cli. A thousand names that are hard to bear.
"""

import os
import random
import re
import shutil
import subprocess
import sys
import unittest
from urllib.parse import unquote_to_bytes

GATE_TOOL = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else ""
NAMES = 1000


def hostile_names(count, text_only):
    """`count` different names of at most 200 bytes: every byte by itself, marks of shells and of formats, noise."""
    noise = random.Random(20)
    names = [b"-rf", b"~", b"%", b"%41", b"%zz", b"#", b"?x=1", b" lead", b"trail ", b"...", b"a.b.c", b".hidden",
             "über".encode(), "e\u0301".encode(), "\U0001f5d1".encode(), b"x" * 200, b"'\"`$(x)", b"a;b&c|d", b"*"]
    bytes_of_a_name = [byte for byte in range(1, 256) if byte != ord("/")]
    names += [b"byte " + bytes([byte]) for byte in bytes_of_a_name]
    while len(names) < 3 * count:
        names.append(bytes(noise.choice(bytes_of_a_name) for _ in range(noise.randrange(1, 60))))
        names.append(("wort " + "".join(chr(noise.randrange(0xA0, 0x2FFF)) for _ in range(9))).encode())
    usable, seen = [], {b".", b".."}
    for name in names:
        if text_only:
            try:
                text = name.decode()
            except UnicodeDecodeError:
                continue
            # That program works line by line.
            if len(text.splitlines()) != 1 or text != text.strip() or any(ord(c) < 32 for c in text):
                continue
        if name not in seen:
            seen.add(name)
            usable.append(name)
    return usable[:count]


class OtherPrograms(unittest.TestCase):
    def setUp(self):
        # The service for trash:/// knows the home folder that the session began with.
        self.home = os.fsencode(os.environ["HOME"])
        self.things = os.path.join(self.home, b"things")
        self.trash = os.path.join(self.home, b".local/share/Trash")
        os.mkdir(self.things)

    def tearDown(self):
        shutil.rmtree(self.things)
        shutil.rmtree(self.trash, ignore_errors=True)

    def assert_same(self, found, expected):
        """Without a thousand lines of what is in both."""
        missing = {key: value for key, value in expected.items() if found.get(key) != value}
        self.assertEqual((len(found), dict(list(missing.items())[:3])), (len(expected), {}))

    def make(self, names):
        """path to content"""
        made = {}
        for number, name in enumerate(names):
            path = os.path.join(self.things, name)
            if number % 10 == 0:
                os.mkdir(path)
                with open(os.path.join(path, b"inside"), "wb") as file:
                    file.write(name)
            else:
                with open(path, "wb") as file:
                    file.write(name)
            made[path] = name
        return made

    def content(self, path):
        inside = os.path.join(path, b"inside")
        with open(inside if os.path.isdir(path) else path, "rb") as file:
            return file.read()

    def census(self):
        return {os.path.join(self.things, name): self.content(os.path.join(self.things, name))
                for name in os.listdir(self.things)}

    def run_program(self, *arguments, **options):
        done = subprocess.run(arguments, capture_output=True, timeout=250, **options)
        return done.stdout

    def gate(self, mode, paths, root):
        out = self.run_program(GATE_TOOL, mode, root, input=b"".join(path + b"\0" for path in paths))
        fields = out.split(b"\0")
        return {fields[i]: (fields[i + 1].decode(), fields[i + 2]) for i in range(0, len(fields) - 2, 3)}

    def test_gioListsAndPutsBackWhatWeTrashed(self):
        made = self.make(hostile_names(NAMES, text_only=False))
        outcome = self.gate("trash", made, self.home)
        self.assertEqual({what for what, _ in outcome.values()}, {"trashed"})
        self.assertEqual(self.census(), {})

        for _ in range(100):  # the service hears of what comes in by and by
            listed = re.findall(rb"^(trash:///\S+)\t", self.run_program("gio", "trash", "--list"), re.MULTILINE)
            if len(listed) == len(made):
                break
        names = {os.path.basename(unquote_to_bytes(uri)) for uri in listed}
        self.assertEqual(len(names), len(made))
        for start in range(0, len(listed), 100):
            self.run_program("gio", "trash", "--restore", *listed[start:start + 100])
        # Its command line restores a byte that is not ASCII as "\\xNN", also of what it trashed itself: so the things are
        # known by what is in them.
        self.assertEqual(sorted(self.census().values()), sorted(made.values()))
        self.assertEqual(os.listdir(os.path.join(self.trash, b"files")), [])
        self.assertEqual(os.listdir(os.path.join(self.trash, b"info")), [])

    def test_trashCliListsAndPutsBackWhatWeTrashed(self):
        made = self.make(hostile_names(NAMES, text_only=True))
        self.gate("trash", made, self.home)
        self.assertEqual(self.census(), {})
        self.assertEqual(len([line for line in self.run_program("trash-list").split(b"\n")
                              if self.things + b"/" in line]), len(made))
        # It puts back one at a time: some of them have to do.
        some = dict(list(made.items())[::25])
        for path in some:
            self.run_program("trash-restore", path, input=b"0\n")
        self.assert_same(self.census(), some)

    def test_whatGioTrashed_isNeverReplaced_andGoesForGoodWithItsNote(self):
        names = hostile_names(NAMES, text_only=False)
        theirs = self.make(names)
        paths = list(theirs)
        for start in range(0, len(paths), 100):
            self.run_program("gio", "trash", "--", *paths[start:start + 100])
        self.assertEqual(self.census(), {})
        files = os.path.join(self.trash, b"files")
        before = {name: self.content(os.path.join(files, name)) for name in os.listdir(files)}
        self.assertEqual(len(before), len(theirs))

        # Others of the same names.
        ours = self.make(names[:50])
        for path in ours:
            if not os.path.isdir(path):
                with open(path, "ab") as file:
                    file.write(b" the second")
        outcome = self.gate("trash", ours, self.home)
        self.assertEqual({what for what, _ in outcome.values()}, {"trashed"})
        after = {name: self.content(os.path.join(files, name)) for name in os.listdir(files)}
        self.assertEqual({name: after[name] for name in before}, before)
        self.assertEqual(len(after), len(before) + len(ours))

        outcome = self.gate("remove", [os.path.join(files, name) for name in before], self.home)
        self.assertEqual({what for what, _ in outcome.values()}, {"removed"})
        self.assertEqual(len(os.listdir(files)), len(ours))
        self.assertEqual(len(os.listdir(os.path.join(self.trash, b"info"))), len(ours))

    def test_whatTrashCliTrashed_goesForGoodWithItsNote(self):
        theirs = self.make(hostile_names(100, text_only=True))
        self.run_program("trash-put", "--", *theirs)
        self.assertEqual(self.census(), {})
        files = os.path.join(self.trash, b"files")
        outcome = self.gate("remove", [os.path.join(files, name) for name in os.listdir(files)], self.home)
        self.assertEqual(len(outcome), len(theirs))
        self.assertEqual({what for what, _ in outcome.values()}, {"removed"})
        self.assertEqual(os.listdir(files) + os.listdir(os.path.join(self.trash, b"info")), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)

"""Whether scripts/display-answers tells a display that shows windows from one that is only named."""

import contextlib
import os
import signal
import socket
import subprocess
import tempfile
import unittest
from pathlib import Path

PROGRAM = Path(__file__).resolve().parents[2] / "scripts/display-answers"


@contextlib.contextmanager
def display():
    """A virtual display: its process and its name."""
    reading, writing = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0", "64x64x24", "-nolisten", "tcp",
                               "-noreset"], pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    try:
        with os.fdopen(reading) as pipe:
            yield server, ":" + pipe.readline().strip()
    finally:
        server.kill()
        server.wait()


class DisplayAnswers(unittest.TestCase):
    def setUp(self):
        self.runtime = self.enterContext(tempfile.TemporaryDirectory())

    def ask(self, **variables):
        environment = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
        environment |= {"XDG_RUNTIME_DIR": self.runtime} | variables
        answer = subprocess.run([PROGRAM], env=environment, capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual(answer.stderr, "")
        return answer.returncode, answer.stdout

    def test_aDisplayThatAnswers_isTakenWithoutAWord(self):
        with display() as (_, name):
            self.assertEqual(self.ask(DISPLAY=name), (0, ""))

    def test_withoutADisplay_bothVariablesAreNamed(self):
        self.assertEqual(self.ask(), (1, "There is no display here (neither DISPLAY nor WAYLAND_DISPLAY is set), so no "
                                         "window can be shown.\n"))

    def test_aDisplayWhoseServerHasEnded_isNamed(self):
        with display() as (_, name):
            pass
        self.assertEqual(self.ask(DISPLAY=name), (1, f"The display that this session names (DISPLAY={name}) does not "
                                                     "answer, so no window can be shown.\n"))

    def test_aDisplayThatTakesTheConnectionAndNeverSpeaks_isNotWaitedForForEver(self):
        with display() as (server, name):
            server.send_signal(signal.SIGSTOP)
            code, text = self.ask(DISPLAY=name)
        self.assertEqual(code, 1)
        self.assertIn(f"(DISPLAY={name}) does not answer", text)

    def test_aWaylandDisplayWhoseSocketIsNotThere_isNamed(self):
        code, text = self.ask(WAYLAND_DISPLAY="wayland-7")
        self.assertEqual(code, 1)
        self.assertIn("(WAYLAND_DISPLAY=wayland-7) does not answer", text)

    def test_aWaylandSocketThatNobodyListensAt_isNamed(self):
        with socket.socket(socket.AF_UNIX) as abandoned:
            abandoned.bind(os.path.join(self.runtime, "wayland-7"))
        code, text = self.ask(WAYLAND_DISPLAY="wayland-7")
        self.assertEqual(code, 1)
        self.assertIn("(WAYLAND_DISPLAY=wayland-7) does not answer", text)

    def test_whereOneOfTwoAnswers_itIsTaken(self):
        with display() as (_, name):
            self.assertEqual(self.ask(DISPLAY=name, WAYLAND_DISPLAY="wayland-7"), (0, ""))

    def test_whereNeitherOfTwoAnswers_bothAreNamed(self):
        with display() as (_, name):
            pass
        code, text = self.ask(DISPLAY=name, WAYLAND_DISPLAY="wayland-7")
        self.assertEqual(code, 1)
        self.assertIn(f"(WAYLAND_DISPLAY=wayland-7, DISPLAY={name}) do not answer", text)


if __name__ == "__main__":
    unittest.main(verbosity=2)

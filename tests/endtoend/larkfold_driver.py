"""Drives the real program in a real window, by a person's means, and reads it as assistive technology does.

    with Session() as session:                       # a display, a session bus, the accessibility bus, a new home
        with session.start(program) as larkfold:
            larkfold.find("Scan Folder").click()
            larkfold.wait(lambda: larkfold.find_all(role="table row"), "rows in the list")
            larkfold.screenshot("list.png")

Nothing here sleeps for a fixed time: every wait names a condition, looks again when the program reports a change (and a
few times a second besides, for what no event tells), and fails with a picture of the accessibility tree when its
deadline passes. The deadlines are generous, since they only matter when something is broken.

Needs the system's Python (/usr/bin/python3), whose packages hold the bindings of the accessibility interface.
"""

import contextlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.parse
import warnings
from pathlib import Path

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from system_words import foreign_words  # noqa: E402

# The ways to an element's interfaces have newer names, which this release of the bindings does not always have.
warnings.filterwarnings("ignore", message=r"Atspi\.")

DEADLINE = float(os.environ.get("LARKFOLD_DEADLINE", "60"))
TICK_MILLISECONDS = 40


class DeadlineError(AssertionError):
    """What was waited for did not come."""


class Session:
    """A virtual display and a desktop session of its own. Enter it before anything else touches accessibility."""

    def __init__(self, width=1440, height=900, settings=None, home=None, dark=False, still=True):
        """`dark`, `still`: what the desktop wishes of its programs, dark colours and no motion."""
        self.size = (width, height)
        self._wishes = {("org.freedesktop.appearance", "color-scheme"): GLib.Variant("u", 1 if dark else 2),
                        ("org.gnome.desktop.interface", "enable-animations"): GLib.Variant("b", not still)}
        self.settings = {"hasCompletedOnboarding": True} if settings is None else settings
        self._given_home = home
        self._processes = []

    def __enter__(self):
        self._folder = Path(tempfile.mkdtemp(prefix="larkfold-window."))
        try:
            self._open()
        except BaseException:
            self.__exit__()
            raise
        return self

    def _open(self):
        self.home = Path(self._given_home) if self._given_home else self._folder / "home"
        self.home.mkdir(exist_ok=True)
        runtime = self._folder / "runtime"
        runtime.mkdir(mode=0o700)
        self.environment = {
            key: value for key, value in os.environ.items()
            if not key.startswith(("XDG_", "DBUS_", "QT_", "AT_SPI_", "WAYLAND_")) and key != "DISPLAY"
        }
        self.environment |= {
            "HOME": str(self.home),
            "XDG_RUNTIME_DIR": str(runtime),
            "XDG_CONFIG_HOME": str(self.home / ".config"),
            "XDG_DATA_HOME": str(self.home / ".local/share"),
            "XDG_CACHE_HOME": str(self.home / ".cache"),
            "LC_ALL": "C.UTF-8",
            "TZ": "UTC",
            "NO_AT_BRIDGE": "1",
            "QT_QPA_PLATFORM": "xcb",
            "QT_QUICK_BACKEND": "software",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
        }
        self._start_display()
        self._start_buses()
        self.write_settings(self.settings)

    def _start_display(self):
        reading, writing = os.pipe()
        width, height = self.size
        self._spawn(["Xvfb", "-displayfd", str(writing), "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp",
                     "-noreset"], pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise RuntimeError("The virtual display (Xvfb) did not start.")
        self.environment["DISPLAY"] = f":{number}"

    def _start_buses(self):
        reading, writing = os.pipe()
        self._spawn(["dbus-daemon", "--session", "--nofork", "--nopidfile", f"--print-address={writing}"],
                    pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as pipe:
            address = pipe.readline().strip()
        if not address:
            raise RuntimeError("The session bus (dbus-daemon) did not start.")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self._spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        # The bindings read these when they are first used in this process.
        for key in ("DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "XDG_RUNTIME_DIR"):
            os.environ[key] = self.environment[key]
        self._bus = Gio.DBusConnection.new_for_address_sync(
            address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)

        self._answer_for_the_desktop()

        def accessibility_bus():
            try:
                return self._bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None,
                                           GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, 5000, None).unpack()[0]
            except GLib.Error:
                return None

        address = wait_until(accessibility_bus, "the accessibility bus")
        os.environ["AT_SPI_BUS_ADDRESS"] = address
        if Atspi.init() == 2:
            raise RuntimeError("The accessibility interface did not start.")

    def _answer_for_the_desktop(self):
        """Stands in for the desktop's service that tells its wishes. It answers while a wait runs the main loop."""
        node = Gio.DBusNodeInfo.new_for_xml("""<node><interface name="org.freedesktop.portal.Settings">
            <method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/>
            <arg type="v" direction="out"/></method></interface></node>""")

        def called(_bus, _sender, _path, _interface, _method, arguments, invocation):
            value = self._wishes.get(arguments.unpack())
            if value is None:
                invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "The desktop has no such wish.")
            else:
                invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", value),)))

        self._bus.register_object("/org/freedesktop/portal/desktop", node.interfaces[0], called, None, None)
        self._bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                            GLib.Variant("(su)", ("org.freedesktop.portal.Desktop", 0)), None, Gio.DBusCallFlags.NONE,
                            5000, None)

    @contextlib.contextmanager
    def folder_dialog(self, answer):
        """Lets the desktop have a dialog for choosing folders, which answers every question with the folder of that path
        (bytes), or, with None, turns back. Yields the questions, each the options that it came with."""
        node = Gio.DBusNodeInfo.new_for_xml("""<node><interface name="org.freedesktop.portal.FileChooser">
            <property name="version" type="u" access="read"/>
            <method name="OpenFile"><arg type="s" direction="in"/><arg type="s" direction="in"/>
            <arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method></interface></node>""")
        questions = []

        def called(_bus, sender, path, _interface, _method, arguments, invocation):
            window, title, options = arguments.unpack()
            questions.append(options | {"window": window, "title": title})
            request = f"{path}/request/{sender[1:].replace('.', '_')}/{options['handle_token']}"
            invocation.return_value(GLib.Variant("(o)", (request,)))
            urls = [] if answer is None else ["file://" + urllib.parse.quote_from_bytes(answer)]
            self._bus.emit_signal(None, request, "org.freedesktop.portal.Request", "Response",
                                  GLib.Variant("(ua{sv})", (int(answer is None), {"uris": GLib.Variant("as", urls)})))

        registered = self._bus.register_object("/org/freedesktop/portal/desktop", node.interfaces[0], called,
                                               lambda *_: GLib.Variant("u", 3), None)
        try:
            yield questions
        finally:
            self._bus.unregister_object(registered)

    def _spawn(self, command, **options):
        process = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, start_new_session=True, **options)
        self._processes.append(process)
        return process

    @property
    def settings_file(self):
        return self.home / ".config/Larkfold/settings.json"

    def write_settings(self, settings):
        """The settings that the program finds at its next start."""
        self.settings_file.parent.mkdir(parents=True, exist_ok=True)
        self.settings_file.write_text(json.dumps(settings), encoding="utf-8")

    def read_settings(self):
        return json.loads(self.settings_file.read_text(encoding="utf-8"))

    def start(self, program, environment=None):
        return Program(self, program, environment or {})

    def __exit__(self, *_):
        with contextlib.suppress(AttributeError):
            Atspi.exit()
            self._bus.close_sync(None)
        for process in reversed(self._processes):
            end(process)
        subprocess.run(["chmod", "-R", "u+rwX", self._folder], check=False, stderr=subprocess.DEVNULL)
        shutil.rmtree(self._folder, ignore_errors=True)


def end(process, patience=10):
    """Asks a process that we started to end, and makes it end when it does not."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(patience)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


def wait_until(condition, what, deadline=None, describe=lambda: ""):
    """Returns the first true value of `condition`, looking again whenever an event arrives."""
    context = GLib.MainContext.default()
    limit = time.monotonic() + (DEADLINE if deadline is None else deadline)
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > limit:
            raise DeadlineError(f"Waited in vain for {what}.\n{describe()}")
        tick = GLib.timeout_add(TICK_MILLISECONDS, lambda: False)
        context.iteration(True)
        # The tick is gone by itself when it was what ended the iteration.
        if context.find_source_by_id(tick):
            GLib.source_remove(tick)


class Program:
    """The running program. What of its texts was read has to be free of words that name another system."""

    def __init__(self, session, program, environment):
        self.session = session
        self._program = str(program)
        self._environment = session.environment | environment
        self._log = tempfile.NamedTemporaryFile(prefix="larkfold-log.", dir=session._folder)
        self.read = set()

    def __enter__(self):
        self.process = subprocess.Popen([self._program], env=self._environment, stdin=subprocess.DEVNULL,
                                        stdout=self._log, stderr=self._log, start_new_session=True)
        try:
            self.window_id = wait_until(self._mapped_window, "the program's window", describe=self.log)
            self._xdotool("windowmove", self.window_id, "0", "0")
            self.focus()
            wait_until(lambda: self.application() and self.find_all(role="frame", showing=False),
                       "the program in the accessibility tree", describe=self.log)
        except BaseException:
            end(self.process)
            raise
        return self

    def __exit__(self, failure, *_):
        end(self.process)
        self._log.close()
        foreign = sorted(text for text in self.read if foreign_words(text))
        if failure is None and foreign:
            raise AssertionError(f"These texts name another system: {foreign}")

    # --- the process ---

    def log(self):
        """What the program wrote to its output so far."""
        return Path(self._log.name).read_text(encoding="utf-8", errors="replace")

    def terminate(self):
        """Asks the program to end, and returns its exit status (negative: the signal that ended it)."""
        end(self.process)
        return self.process.returncode

    def wait_for_end(self):
        wait_until(lambda: self.process.poll() is not None, "the program's end", describe=self.dump)
        return self.process.returncode

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    # --- what a person does with Larkfold ---

    def scan_folder(self, path, deadline=None):
        """Scans a folder from the start page, by "Scan Folder" and the folder dialog, and waits for the map."""
        self.begin_scan_of_folder(path)
        self.wait_for_map(deadline)

    def begin_scan_of_folder(self, path):
        self.find("Scan Folder", role="push button").click()
        self.choose_folder(path)

    def choose_folder(self, path):
        """Answers the window's own folder chooser, which stands there where the desktop has no dialog, by typing the path."""
        path = os.path.abspath(path)
        self.find(role="dialog")
        self.type_path(path)
        self.find(f"Folder to open: {path}", inside="dialog")
        confirm = self.find("Open", role="push button", inside="dialog")
        self.wait(lambda: confirm.enabled, "the dialog's button")
        confirm.click()
        self.wait(lambda: not self.has(role="dialog"), "the end of the dialog")

    def type_path(self, path):
        """Types a path into the folder chooser and sends it off."""
        self.key("ctrl+l")
        field = self.find("Path of a folder", role="text", inside="dialog")
        self.wait(lambda: field.focused, "the path's field in focus")
        self.key("ctrl+a")
        self.type(path)
        self.wait(lambda: field.text == path, f"{path} in the path's field")
        self.key("Return")

    def wait_for_map(self, deadline=None):
        """Waits until the result of a scan is on screen."""
        self.wait(self.totals, "the totals of the scan", deadline)

    def totals(self):
        """The sums as the status line tells them; empty while there is no result."""
        return next((element.name for element in self.elements()
                     if re.search(r" in [\d,]+ files?, [\d,]+ folders?", element.name)), "")

    # --- the display ---

    def _xdotool(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], env=self._environment, check=True, capture_output=True,
                              text=True).stdout.split()

    def _mapped_window(self):
        if self.process.poll() is not None:
            raise AssertionError(f"The program ended at once with {self.process.returncode}.\n{self.log()}")
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)],
                               env=self._environment, capture_output=True, text=True, check=False).stdout.split()
        return found[0] if found else None

    def focus(self):
        """Gives the window the keyboard, as a window manager would (there is none on the virtual display)."""
        self._xdotool("windowfocus", "--sync", self.window_id)

    def resize(self, width, height):
        self._xdotool("windowsize", self.window_id, width, height)

        def arrived():
            box = self.window().box()
            return box and (box.width, box.height) == (width, height)

        self.wait(arrived, f"a window of {width} x {height}")

    def key(self, *keys):
        """Keys by their X names: key("Return"), key("ctrl+1"), key("Down", "Down")."""
        self._xdotool("key", "--clearmodifiers", *keys)

    def type(self, text):
        """Characters typed on the keyboard. One that the display's keyboard lacks is put on a spare key first, and the
        program must hear of that before the key is pressed: hence the slower typing."""
        self._xdotool("type", "--clearmodifiers", "--delay", "4" if text.isascii() else "120", "--", text)

    def move_to(self, x, y):
        self._xdotool("mousemove", "--window", self.window_id, round(x), round(y))

    def click_at(self, x, y, button=1, modifier=None):
        """A click at a point of the window."""
        self.move_to(x, y)
        if modifier:
            self._xdotool("keydown", modifier)
        self._xdotool("click", button)
        if modifier:
            self._xdotool("keyup", modifier)

    def drag(self, start, stop):
        self.move_to(*start)
        self._xdotool("mousedown", 1)
        self.move_to(*stop)
        self._xdotool("mouseup", 1)

    @contextlib.contextmanager
    def in_window(self, title):
        """What follows is done in, and pictures are taken of, the program's other window of that title."""
        def mapped():
            found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", f"^{re.escape(title)}$"],
                                   env=self._environment, capture_output=True, text=True, check=False).stdout.split()
            return found[0] if found else None

        main_window = self.window_id
        self.window_id = wait_until(mapped, f"the window {title}", describe=self.dump)
        try:
            self._xdotool("windowmove", self.window_id, "0", "0")
            self.focus()
            yield self
        finally:
            self.window_id = main_window
            if self.process.poll() is None:
                self.focus()

    def screenshot(self, path):
        """The window as a PNG file, once two pictures in a row are equal, so that no animation is caught half-way."""
        path = Path(path)
        path.parent.mkdir(parents=True, exist_ok=True)
        last = [None]

        def settled():
            picture = self.picture()
            same, last[0] = picture == last[0], picture
            return same

        with contextlib.suppress(DeadlineError):  # a picture of something that always moves is a picture all the same
            wait_until(settled, "a picture that stands still", deadline=5)
        path.write_bytes(last[0])

    def picture(self):
        """The window as it is now, the bytes of a PNG without dates in it."""
        return subprocess.run(["import", "-silent", "-window", str(self.window_id), "+set", "date:create", "+set",
                               "date:modify", "-define", "png:exclude-chunks=date,time", "png:-"],
                              env=self._environment, check=True, capture_output=True).stdout

    # --- the accessibility tree ---

    def application(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            with contextlib.suppress(GLib.Error):
                if child and child.get_process_id() == self.process.pid:
                    child.set_cache_mask(Atspi.Cache.NONE)  # for all below it: what is read is what is there
                    return Element(self, child)
        return None

    def window(self):
        return next(element for element in self.find_all(role="frame", showing=False))

    def elements(self, showing=True):
        """Every element of the program, depth first. What vanishes while we look is left out."""
        root = self.application()
        if root:
            yield from root.descendants(showing)

    def find_all(self, name=None, role=None, contains=None, showing=True, inside=None):
        """All elements of that name, role or text; `inside`: only those within elements of that role."""
        around = [self.application()] if inside is None else [
            element for element in self.elements(showing) if element.role == inside]
        return [element for one in around if one for element in one.descendants(showing)
                if element.matches(name, role, contains)]

    def find(self, name=None, role=None, contains=None, showing=True, inside=None, deadline=None):
        """Waits for the first of them and returns it."""
        what = " ".join(str(part) for part in (role or "an element", name or "", contains and f"with {contains!r}" or ""))
        return self.wait(lambda: next(iter(self.find_all(name, role, contains, showing, inside)), None), what, deadline)

    def has(self, name=None, role=None, contains=None):
        return bool(self.find_all(name, role, contains))

    def wait(self, condition, what, deadline=None):
        def safe():
            if self.process.poll() is not None:
                raise AssertionError(f"The program ended with {self.process.returncode}.\n{self.log()}")
            try:
                return condition()
            except (GLib.Error, StopIteration):
                return None  # something vanished while we looked

        return wait_until(safe, what, deadline, describe=lambda: f"{self.dump()}\n{self.log()}")

    def texts(self, showing=True):
        """Everything that can be read in the window, in the order of the tree."""
        return [text for element in self.elements(showing) for text in {element.name, element.text, element.description} if text]

    def dump(self):
        """The accessibility tree as indented lines, for a person who looks for what went wrong."""
        root = self.application()
        lines = []

        def visit(element, depth):
            with contextlib.suppress(GLib.Error):
                box = element.box()
                lines.append(f"{'  ' * depth}{element.role} {element.name!r} {element.text!r} {tuple(box) if box else ''}"
                             f"{'' if element.showing else ' (not showing)'}")
                for child in element.children():
                    visit(child, depth + 1)

        if root:
            visit(root, 0)
        return "\n".join(lines)


class Box(tuple):
    x = property(lambda self: self[0])
    y = property(lambda self: self[1])
    width = property(lambda self: self[2])
    height = property(lambda self: self[3])
    centre = property(lambda self: (self[0] + self[2] / 2, self[1] + self[3] / 2))


class Element:
    """One element of the window, as assistive technology sees it."""

    def __init__(self, program, accessible):
        self._program = program
        self._accessible = accessible

    name = property(lambda self: self._noted(self._accessible.get_name() or ""))
    description = property(lambda self: self._noted(self._accessible.get_description() or ""))
    role = property(lambda self: self._accessible.get_role_name())
    enabled = property(lambda self: self.has_state(Atspi.StateType.ENABLED))
    checked = property(lambda self: self.has_state(Atspi.StateType.CHECKED))
    focused = property(lambda self: self.has_state(Atspi.StateType.FOCUSED))
    selected = property(lambda self: self.has_state(Atspi.StateType.SELECTED))
    showing = property(lambda self: self.has_state(Atspi.StateType.SHOWING))

    def _noted(self, text):
        self._program.read.add(text)
        return text

    def has_state(self, state):
        return self._accessible.get_state_set().contains(state)

    @property
    def text(self):
        """What is written in it, where that is not its name."""
        with contextlib.suppress(GLib.Error):
            interface = self._accessible.get_text_iface()
            if interface:
                return self._noted(Atspi.Text.get_text(interface, 0, Atspi.Text.get_character_count(interface)))
        return ""

    def children(self):
        for index in range(self._accessible.get_child_count()):
            with contextlib.suppress(GLib.Error):
                child = self._accessible.get_child_at_index(index)
                if child:
                    yield Element(self._program, child)

    def descendants(self, showing=True):
        for child in self.children():
            with contextlib.suppress(GLib.Error):
                if showing and child.role not in ("frame", "application") and not child.showing:
                    continue
                yield child
                yield from child.descendants(showing)

    def matches(self, name=None, role=None, contains=None):
        with contextlib.suppress(GLib.Error):
            return ((role is None or self.role == role) and (name is None or self.name == name)
                    and (contains is None or contains in self.name or contains in self.text))
        return False

    def box(self):
        """Where it stands in the window."""
        component = self._accessible.get_component_iface()
        if not component:
            return None
        extents = component.get_extents(Atspi.CoordType.SCREEN)
        return Box((extents.x, extents.y, extents.width, extents.height))

    def click(self, button=1, modifier=None, at=(0.5, 0.5)):
        """A click of the mouse on it; `at` tells where, as shares of its width and height."""
        box = self.box()
        self._program.click_at(box.x + box.width * at[0], box.y + box.height * at[1], button, modifier)

    def press(self):
        """Its own action, as a screen reader invokes it."""
        action = self._accessible.get_action_iface()
        names = [Atspi.Action.get_action_name(action, index) for index in range(action.get_n_actions())]
        index = next((i for i, name in enumerate(names) if name.lower() in ("press", "click", "toggle", "activate")), None)
        assert index is not None, f"{self.role} {self.name!r} has no action among {names}"
        Atspi.Action.do_action(action, index)

    def __repr__(self):
        with contextlib.suppress(GLib.Error):
            return f"<{self.role} {self.name!r}>"
        return "<gone>"

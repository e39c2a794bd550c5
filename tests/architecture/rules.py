"""The rules of the floors, as data and as one checker per rule.

Each checker takes a path relative to the repository and the text of that file, and returns a list of sentences, one per
breach. test_include_rules.py runs them over the sources and over small bad samples, so that a checker which sees nothing
is noticed.
"""

import ast
import re
import sys
from pathlib import Path, PurePosixPath

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from system_words import foreign_words  # noqa: E402

# ---------------------------------------------------------------------------------------------------------------------
# Which folder may include which (besides itself). A new folder below src/ needs a row.

FOLDERS = {
    "platform": set(),
    "removal": {"platform"},
    "disk": {"platform"},
    "shell": {"platform", "removal", "disk"},
}

# Within src/shell: which room may include which (besides itself). A tab knows the kit and what is shown of removals, and
# no other tab; only the program itself knows the tabs.
TABS = {"disk"}
ROOMS = {
    "app": TABS | {"chooser", "kit", "removal", "updates"},
    "chooser": {"kit"},
    "kit": set(),
    "removal": {"kit"},
    "updates": {"kit"},
    **{tab: {"kit", "removal"} for tab in TABS},
}

# What drivers may include beyond their folder's engines.
DRIVER_FOLDERS = {"removal"}

# The path rules of the gate are a target of their own that engines may use too.
OPEN_HEADERS = {"removal/PathRules.h"}

# Headers from outside of the project and of the C++ library, by folder, each with what it is for.
LIBRARIES = {
    "platform": {
        r"unicode/.*": "ICU: collation and grouping",
        r"nlohmann/json\.hpp": "small JSON stores",
        r"openssl/evp\.h": "libcrypto: SHA-256 by the processor's own instructions",
        r"pthread\.h": "POSIX, the same on every system we have: a child process must not repeat its parent's UUIDs",
    },
    "disk": {r"sqlite3\.h": "the scan index"},
    "removal": {
        r"nlohmann/json\.hpp": "writing the cleanup history, and the journals beside it",
        r"simdjson\.h": "reading it: it may be large or hostile",
    },
}

STANDARD_HEADERS = set("""
algorithm any array atomic bit bitset cassert cctype cerrno cfloat charconv chrono cinttypes climits cmath compare
complex concepts condition_variable cstddef cstdint cstdio cstdlib cstring ctime deque exception expected filesystem
format forward_list fstream functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits
list locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex
semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string string_view
system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility variant vector version
""".split())

# ---------------------------------------------------------------------------------------------------------------------
# Who may use the operations that create, replace or remove the program's own files, and which of them.

OWN_FILES_CALLERS = {
    "src/disk/DiskScanner.cpp": {"exists", "FolderLock", "removeFile", "replaceFile"},
    "src/disk/IndexRefresh.cpp": {"removeFile"},
    "src/disk/SavedScanLoader.cpp": {"exists", "FolderLock", "removeFile", "syncFolder"},
    "src/disk/SavedScanSession.cpp": {"exists"},
    "src/disk/ScanIndexDatabase.cpp": {"createFolders", "setPermissions"},
    "src/removal/CleanupHistoryStore.cpp": {"createFolders", "exists", "FileLock", "readFile", "setPermissions", "writeFile"},
    "src/removal/RemovalJournal.h": {"AppendFile"},
    "src/removal/RemovalRecovery.cpp": {"LeftAppendFile"},
}

# Who may use the operations that take something of the user's away: the gate, and what brings back an item that the gate
# had put aside when the program ended.
USER_FILES_CALLERS = {
    "src/removal/FileDeleter.cpp",
    "src/removal/RemovalRecovery.h",
    "src/removal/RemovalRecovery.cpp",
}

# Who may open a connection: what the user is told about privacy rests on this list.
NETWORK_USERS = {"src/shell/updates/UpdateFetcher.h", "src/shell/updates/UpdateFetcher.cpp"}

# Headers that are named after their subject although they declare types as well.
SUBJECT_HEADERS = {
    "src/disk/NodeLookup.h",
    "src/platform/Collation.h",
    "src/platform/UTF8.h",
    "src/platform/RemovalRemains.h",
    "src/platform/UserFiles.h",
    "src/platform/linux/userfiles/FolderRemoval.h",
    "src/platform/linux/walk/PathDescriptors.h",
    "src/platform/linux/userfiles/Trash.h",
    "src/removal/PathRules.h",
    "src/platform/Volumes.h",
    "src/shell/app/ForeignTypes.h",
    "src/shell/app/PrivacyTexts.h",
}

# ---------------------------------------------------------------------------------------------------------------------
# Reading C++.

_NOISE = re.compile(
    r"""(?P<raw>R"(?P<delimiter>[^()\\\s]{0,16})\(.*?\)(?P=delimiter)")"""
    r"""|(?P<string>"(?:[^"\\\n]|\\.)*")"""
    r"""|(?P<character>(?<![0-9a-fA-F])'(?:[^'\\\n]|\\.)+')"""
    r"""|(?P<comment>//[^\n]*|/\*.*?\*/)""",
    re.DOTALL,
)


def code_of(text):
    """The text without comments and without the insides of literals, lines kept."""

    def blank(match):
        kept = "\n" * match.group(0).count("\n")
        return '""' + kept if match.group("raw") or match.group("string") else " " + kept

    return _NOISE.sub(blank, text)


def includes_of(text):
    """(line number, header, angled) of each include directive that is not commented out."""
    without_comments = _NOISE.sub(
        lambda m: "\n" * m.group(0).count("\n") if m.group("comment") else m.group(0), text)
    found = []
    for number, line in enumerate(without_comments.splitlines(), 1):
        match = re.match(r'\s*#\s*(?:include|import)\s*([<"])([^>"]+)[>"]', line)
        if match:
            found.append((number, match.group(2), match.group(1) == "<"))
    return found


def _lines_matching(pattern, code):
    for number, line in enumerate(code.splitlines(), 1):
        match = pattern.search(line)
        if match:
            yield number, match.group(0).strip()


# ---------------------------------------------------------------------------------------------------------------------
# Where a file stands.


def folder_of(path):
    return PurePosixPath(path).parts[1]


def room_of(path):
    """Of a file below src/shell."""
    return PurePosixPath(path).parts[2]


def is_platform(path):
    return path.startswith("src/platform/")


def is_system_part(path):
    return re.match(r"src/platform/(linux|macos)/", path) is not None


# Drivers by what they do: the window observes them, and they have no page of their own; or they are a part of one that
# has a file for itself.
DRIVERS_BY_ANOTHER_NAME = {
    "src/disk/DroppedMarks",
    "src/disk/FinishedRemoval",
    "src/disk/HiddenFilesSetting",
    "src/disk/RemovalReview",
    "src/disk/RemovalSelection",
    "src/disk/RescanCheck",
    "src/disk/SavedScanSession",
    "src/disk/ScanHistoryManager",
    "src/removal/RemovalRun",
    "src/removal/ReviewRequest",
}


# What lays the map out and draws it is plain C++, beside the items that show it.
MAP_ENGINE = {f"src/shell/disk/map/Sunburst{part}"
              for part in ("Geometry", "Layout", "Marks", "Palette", "PolarRow", "Raster")}


def is_driver(path):
    stem = PurePosixPath(path).with_suffix("")
    return stem.name.endswith("ViewModel") or str(stem) in DRIVERS_BY_ANOTHER_NAME


def floor_of(path):
    """"system", "platform", "bridge", "engine", "driver" or "view"."""
    if is_system_part(path):
        return "system"
    if path.startswith("src/platform/qt/"):
        return "bridge"
    if is_platform(path):
        return "platform"
    if str(PurePosixPath(path).with_suffix("")) in MAP_ENGINE:
        return "engine"
    if is_driver(path):
        return "driver"
    if path.startswith("src/shell/"):
        return "view"
    return "engine"


# ---------------------------------------------------------------------------------------------------------------------
# The rules.

_WINDOW_HEADER = re.compile(
    r"^(QtGui|QtQuick|QtQml|QtWidgets|QtSvg|QtDBus)|"
    r"^Q(Quick|Qml|JS|SG|Gui|Image|Color|Paint|Font|Window|Screen|Icon|Pixmap|Clipboard|DesktopServices|Widget|DBus|Svg|"
    r"Accessible|Cursor|Text(Document|Layout|Format)|StyleHints|Dialog|Message|File(Dialog)$)")


def include_rules(path, text, headers):
    """`headers`: all project headers as they are included, for example "disk/FileNode.h"."""
    breaches = []
    folder, floor = folder_of(path), floor_of(path)
    if folder not in FOLDERS:
        return [f"{path}: the folder src/{folder} has no row in the table of folders"]
    for number, header, angled in includes_of(text):
        where = f"{path}:{number}"
        if not angled:
            if header.endswith(".moc") or re.match(r"moc_\w+\.cpp$", header):
                continue
            beside = str(PurePosixPath(path).parent / header)[len("src/"):]
            name = header
            if name not in headers:
                name = beside if beside in headers else header
            if name not in headers:
                breaches.append(f'{where}: "{header}" is no header of this project')
                continue
            target = name.split("/")[0]
            allowed = FOLDERS[folder] | {folder} | (DRIVER_FOLDERS if floor == "driver" else set())
            if target not in allowed and name not in OPEN_HEADERS:
                breaches.append(f"{where}: {folder} must not include {name}")
            if folder == target == "shell" and room_of("src/" + name) not in ROOMS.get(room_of(path), set()) | {room_of(path)}:
                breaches.append(f"{where}: the room {room_of(path)} must not include {name}")
            if floor in ("system", "platform", "engine") and floor_of("src/" + name) in ("bridge", "driver", "view"):
                breaches.append(f"{where}: a {floor} source must not include {name} of the floor above")
            if floor == "driver" and floor_of("src/" + name) == "view":
                breaches.append(f"{where}: a driver must not include the view's {name}")
            if not is_platform(path) and floor_of("src/" + name) == "system":
                breaches.append(f"{where}: {name} belongs to one system; include the header of src/platform")
            if floor == "platform" and floor_of("src/" + name) == "system" and path.endswith(".h"):
                breaches.append(f"{where}: a header of src/platform must not depend on one system")
            continue
        if header in STANDARD_HEADERS:
            continue
        if re.match(r"Q[A-Za-z]", header) or header.startswith("qt"):
            if floor in ("system", "platform", "engine"):
                breaches.append(f"{where}: <{header}>: Qt has no place in an engine or below it")
            elif floor == "driver" and _WINDOW_HEADER.search(header):
                breaches.append(f"{where}: <{header}>: a driver knows QtCore and no window")
            continue
        if any(re.fullmatch(pattern, header) for pattern in LIBRARIES.get(folder, {})):
            continue
        if is_system_part(path):
            continue
        breaches.append(f"{where}: <{header}>: only src/platform/<system> may include a header of the system, "
                        f"and a library's headers need a row")
    return breaches


_THREADS = re.compile(
    r"\bstd::(thread|jthread|mutex|timed_mutex|recursive_mutex|recursive_timed_mutex|shared_mutex|shared_timed_mutex"
    r"|lock_guard|unique_lock|scoped_lock|shared_lock|condition_variable|condition_variable_any|async|promise|future"
    r"|shared_future|packaged_task|call_once|once_flag|latch|barrier|counting_semaphore|binary_semaphore)\b"
    r"|\b(QThread|QThreadPool|QRunnable|QMutex|QMutexLocker|QRecursiveMutex|QReadWriteLock|QReadLocker|QWriteLocker"
    r"|QWaitCondition|QSemaphore|QFutureWatcher|QPromise|QFuture)\b"
    r"|\bQtConcurrent\b|\bpthread_\w+")


def thread_rule(path, text):
    if is_platform(path):
        return []
    return [f"{path}:{number}: {found}: only src/platform creates threads and locks"
            for number, found in _lines_matching(_THREADS, code_of(text))]


_SYSTEM_IFDEF = re.compile(
    r"^\s*#\s*(if|ifdef|ifndef|elif)\b.*\b(__linux__|__linux|__APPLE__|__MACH__|_WIN32|__unix__|Q_OS_\w+)\b")


def system_condition_rule(path, text):
    """Which system it is decides the build, by choosing files; the chosen file may refuse the wrong system."""
    if is_system_part(path):
        return []
    return [f"{path}:{number}: {found}: a condition on the system outside of src/platform/<system>"
            for number, found in _lines_matching(_SYSTEM_IFDEF, code_of(text))]


_REMOVAL = re.compile(
    r"\b(std::filesystem|namespace\s+\w+\s*=\s*std::filesystem)\b"
    r"|\bO_(TRUNC|CREAT)\b"
    r"|(?<![\w.>])(::|std::)?\b(unlink|unlinkat|rename|renameat|renameat2|rmdir|ftruncate|truncate|ftruncate64|truncate64"
    r"|creat|fopen|freopen|mkstemp|tmpfile)\s*\("
    r"|(?<![\w.>:])(::|std::)remove\s*\([^,;]*\)\s*;"
    r"|\bstd::(w?ofstream|w?fstream|basic_ofstream|basic_fstream)\b"
    r"|\b(QSaveFile|QTemporaryFile|QTemporaryDir|QFileDevice|QLockFile)\b"
    r"|\bQFile::(remove|rename|resize|moveToTrash|copy|link)\b"
    r"|\bQDir\b|\bremoveRecursively\b|\bmoveToTrash\b"
    r"|\b(QIODevice|QIODeviceBase|QFile)::(OpenModeFlag::)?(WriteOnly|ReadWrite|Truncate|Append|NewOnly)\b")


def removal_rule(path, text):
    if is_platform(path):
        return []
    return [f"{path}:{number}: {found}: what creates, removes, renames or truncates belongs to src/platform"
            for number, found in _lines_matching(_REMOVAL, code_of(text))]


def own_files_rule(path, text, callers=OWN_FILES_CALLERS):
    code = code_of(text)
    breaches = []
    if is_platform(path):
        return breaches
    if re.search(r"using\s+(namespace\s+)?[\w:]*\bown_files\b|namespace\s+\w+\s*=\s*[\w:]*\bown_files\b", code):
        breaches.append(f"{path}: operations on own files are called by their full name, so that callers can be found")
    used = set(re.findall(r"\bown_files::(\w+)", code))
    for name in sorted(used - callers.get(path, set())):
        breaches.append(f"{path}: own_files::{name} is not on the list of callers")
    return breaches


def user_files_rule(path, text, callers=USER_FILES_CALLERS):
    if is_platform(path) or path in callers:
        return []
    uses = re.search(r"\buser_files\b", code_of(text)) or any(
        header in ("platform/UserFiles.h", "platform/RemovalRemains.h") for _, header, _ in includes_of(text))
    return [f"{path}: takes the user's files away beside the gate"] if uses else []


_NETWORK_HEADER = re.compile(
    r"^(QtNetwork\b.*|QNetwork\w*|Q(Abstract|Tcp|Udp|Ssl|Local|Sctp|Web)(Socket|Server)\w*|QHost(Info|Address)|QDns\w*|QHttp\w*"
    r"|netdb\.h|netinet/.*|arpa/.*|curl/.*|openssl/(ssl|bio)\.h)$")


def network_rule(path, text, users=NETWORK_USERS):
    if path in users:
        return []
    return [f"{path}:{number}: <{header}>: only the check for updates uses the network"
            for number, header, _ in includes_of(text) if _NETWORK_HEADER.match(header)]


def stale_callers(sources, callers=OWN_FILES_CALLERS):
    """Rows of the list of callers that nothing uses any more. `sources`: path to text."""
    stale = []
    for path, names in callers.items():
        used = set(re.findall(r"\bown_files::(\w+)", code_of(sources.get(path, ""))))
        stale += [f"{path}: own_files::{name} is on the list of callers and not called" for name in sorted(names - used)]
    return stale


def naming_rule(path, text, all_paths, subjects=SUBJECT_HEADERS):
    pure = PurePosixPath(path)
    if pure.suffix == ".h":
        if path in subjects:
            return []
        types = re.findall(r"^(?:template\b.*>\s*)?(?:class|struct|enum(?:\s+class)?|using)\s+(?:alignas\([^)]*\)\s*)?(\w+)"
                           r"(?=[^;]*?\{|\s*=)", code_of(text), re.MULTILINE)
        # Functions alone: the header is named after their subject.
        if types and not any(pure.stem in name for name in types):
            return [f"{path}: declares {', '.join(types)} and nothing named {pure.stem}"]
        return []
    if pure.name == "main.cpp":
        return []
    folder = pure.parent
    candidates = [folder / f"{pure.stem}.h"]
    if is_system_part(path):
        candidates.append(PurePosixPath("src/platform") / f"{pure.stem}.h")
    if not any(str(candidate) in all_paths for candidate in candidates):
        return [f"{path}: no header {pure.stem}.h beside it"]
    return []


# The table of the words that differ, which names both systems. A table of places or of rows that only the other system
# has belongs here too.
SYSTEM_WORDS = "src/platform/SystemWords.h"
MAY_NAME_SYSTEMS = {SYSTEM_WORDS}

_QML_LITERAL = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)"""
    r"""|(?P<string>"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)*'|`(?:[^`\\]|\\.)*`)""",
    re.DOTALL)


def literals_of(path, text):
    """(line number, content) of each string literal, as it stands in the source. Those side by side are one."""
    if path.endswith(".qml"):
        return [(text.count("\n", 0, match.start()) + 1, match.group("string")[1:-1])
                for match in _QML_LITERAL.finditer(text) if match.group("string")]
    found = []
    end = None
    for match in _NOISE.finditer(text):
        if match.group("comment"):
            continue
        if not (match.group("string") or match.group("raw")):
            end = None
            continue
        content = match.group("string")[1:-1] if match.group("string") else match.group("raw")
        if end is not None and not _NOISE.sub("", text[end:match.start()]).strip():
            found[-1] = (found[-1][0], found[-1][1] + content)
        else:
            found.append((text.count("\n", 0, match.start()) + 1, content))
        end = match.end()
    return found


def system_words_rule(path, text):
    """A text takes the words that name a system from their table, so that no user reads those of another one."""
    if path in MAY_NAME_SYSTEMS:
        return []
    return [f"{path}:{number}: {word}: takes the place of a word of {SYSTEM_WORDS}"
            for number, content in literals_of(path, text) for word in foreign_words(content)]


def words_of_table(name, text):
    """The rows of one of the tables of SYSTEM_WORDS: field to word."""
    table = re.search(rf"\b{name}{{(.*?)\n}};", text, re.DOTALL).group(1)
    return {field: ast.literal_eval(word) for field, word in re.findall(r"\.(\w+) = (\"[^\"\n]*\")", table)}


_COLOUR = re.compile(
    r"""["']#[0-9a-fA-F]{3,8}["']|\bQt\.(rgba|hsla|hsva|color)\s*\("""
    r"""|\b[cC]olor\s*:\s*["'](?!transparent["'])\w+["']""")


def colour_rule(path, text):
    if PurePosixPath(path).name == "Theme.qml":
        return []
    without_comments = re.sub(r"/\*.*?\*/|(?<![:\w\"'])//[^\n]*", lambda m: "\n" * m.group(0).count("\n"), text, flags=re.DOTALL)
    return [f"{path}:{number}: {found}: colours stand in Theme.qml alone"
            for number, found in _lines_matching(_COLOUR, without_comments)]


_QML_FILE_ACCESS = re.compile(r"\bXMLHttpRequest\b|\bimport\s+\"[^\"]*\.m?js\"|\bQt\.include\b|\bQt\.openUrlExternally\b")


def view_logic_rule(path, text):
    """A view takes no decision about files: it has no script files and reaches no file or address by itself."""
    return [f"{path}:{number}: {found}: a view asks its driver"
            for number, found in _lines_matching(_QML_FILE_ACCESS, text)]


_QML_TYPE = re.compile(r"\b[A-Z]\w+")


def view_types(sources):
    """The room of each type that a view can name: of the views themselves, and of the classes that register for them.
    `sources`: path to text."""
    types = {}
    for path, text in sources.items():
        if not path.startswith("src/shell/"):
            continue
        if path.endswith(".qml"):
            types[PurePosixPath(path).stem] = room_of(path)
        elif path.endswith(".h") and "QML_ELEMENT" in text:
            for name in re.findall(r"\bclass (\w+)[^;{]*\{[^}]*?QML_ELEMENT", text):
                types[name] = room_of(path)
    return types


def tab_view_rule(path, text, types):
    """A view uses what its room may include; the frame's own types may be handed to any page."""
    room = room_of(path)
    allowed = ROOMS.get(room, set()) | {room, "app"}
    without_comments = re.sub(r"/\*.*?\*/|//[^\n]*|\"(?:[^\"\\\n]|\\.)*\"", lambda m: "\n" * m.group(0).count("\n"), text,
                              flags=re.DOTALL)
    breaches = []
    for number, line in enumerate(without_comments.splitlines(), 1):
        for name in _QML_TYPE.findall(line):
            if name in types and types[name] not in allowed:
                breaches.append(f"{path}:{number}: a view of {room} must not use {name} of {types[name]}")
    return breaches

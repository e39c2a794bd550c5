"""The sources keep the rules of rules.py, and each rule reports a sample that breaks it."""

import os
import unittest
from pathlib import Path

import rules

SOURCE = Path(os.environ.get("LARKFOLD_SOURCE", Path(__file__).resolve().parents[2]))


def read(*suffixes, below="src"):
    return {str(path.relative_to(SOURCE)): path.read_text(encoding="utf-8")
            for path in sorted((SOURCE / below).rglob("*")) if path.suffix in suffixes}


CXX = read(".h", ".cpp")
QML = read(".qml")
HEADERS = {path[len("src/"):] for path in CXX if path.endswith(".h")}


class Sources(unittest.TestCase):
    maxDiff = None

    def check(self, breaches):
        if breaches:
            self.fail("\n" + "\n".join(breaches))

    def over(self, files, rule):
        self.check([breach for path, text in files.items() for breach in rule(path, text)])

    def test_thereAreSourcesToLookAt(self):
        self.assertGreater(len(CXX), 20)
        self.assertGreater(len(QML), 0)

    def test_everyFolderHasItsRow(self):
        found = {path.name for path in (SOURCE / "src").iterdir() if path.is_dir()}
        self.assertEqual(found, set(rules.FOLDERS))

    def test_includesGoDownwardsOnly(self):
        self.over(CXX, lambda path, text: rules.include_rules(path, text, HEADERS))

    def test_everyRoomOfTheShellHasItsRow(self):
        found = {path.name for path in (SOURCE / "src/shell").iterdir() if path.is_dir() and path.name != "icons"}
        self.assertEqual(found, set(rules.ROOMS))

    def test_viewsUseNoOtherTab(self):
        types = rules.view_types({**CXX, **QML})
        self.assertGreater(len(types), 50)
        self.over(QML, lambda path, text: rules.tab_view_rule(path, text, types))

    def test_onlyThePlatformCreatesThreadsAndLocks(self):
        self.over(CXX, rules.thread_rule)

    def test_noConditionOnTheSystemOutsideItsFolder(self):
        self.over(CXX, rules.system_condition_rule)

    def test_onlyThePlatformRemovesRenamesAndTruncates(self):
        self.over(CXX, rules.removal_rule)

    def test_callersOfOwnFilesAreThoseOfTheList(self):
        self.over(CXX, rules.own_files_rule)
        self.check(rules.stale_callers(CXX))

    def test_theUsersFilesAreTakenAwayByTheGateAlone(self):
        self.over(CXX, rules.user_files_rule)

    def test_onlyTheCheckForUpdatesUsesTheNetwork(self):
        self.over(CXX, rules.network_rule)
        self.assertEqual(sorted(rules.NETWORK_USERS - CXX.keys()), [])

    def test_filesAreNamedAfterTheirType(self):
        self.over(CXX, lambda path, text: rules.naming_rule(path, text, CXX.keys()))

    def test_subjectHeadersExist(self):
        self.assertEqual(sorted(rules.SUBJECT_HEADERS - CXX.keys()), [])

    def test_noTextNamesAnotherSystem(self):
        self.over(CXX | QML, rules.system_words_rule)
        for path in (SOURCE / "packaging").rglob("*"):
            if path.is_file() and path.suffix != ".png":
                self.assertEqual(rules.foreign_words(path.read_text(encoding="utf-8")), [], path)

    def test_everyWordOfTheOtherSystemIsLookedFor(self):
        tables = CXX[rules.SYSTEM_WORDS]
        foreign = rules.words_of_table("macSystemWords", tables)
        own = rules.words_of_table("linuxSystemWords", tables)
        self.assertGreater(len(foreign), 10)
        self.assertEqual(list(foreign), list(own))
        for field, word in foreign.items():
            with self.subTest(field=field):
                self.assertNotEqual(rules.foreign_words(f"Larkfold{word}" if word.startswith(".") else word), [])
                self.assertEqual(rules.foreign_words(f"Larkfold{own[field]}"), [])

    def test_coloursStandInTheThemeAlone(self):
        self.over(QML, rules.colour_rule)

    def test_viewsAskTheirDriver(self):
        self.over(QML, rules.view_logic_rule)
        self.assertEqual(list((SOURCE / "src").rglob("*.js")), [])


class NegativeControls(unittest.TestCase):
    """Each rule, shown a breach, reports it; shown the lawful twin, it stays silent."""

    headers = {"platform/Path.h", "platform/qt/Desktop.h", "platform/linux/MountTable.h", "disk/FileNode.h",
               "disk/DiskScannerViewModel.h", "removal/PathRules.h", "removal/FileDeleter.h", "shell/disk/map/MapView.h"}

    def include(self, path, *lines):
        text = "\n".join(f"#include {line}" for line in lines)
        return rules.include_rules(path, text, self.headers)

    def test_upwardIncludesAreReported(self):
        for path, header in [
            ("src/platform/Path.cpp", '"disk/FileNode.h"'),
            ("src/removal/FileDeleter.cpp", '"disk/FileNode.h"'),
            ("src/disk/DiskScanner.cpp", '"removal/FileDeleter.h"'),
            ("src/disk/DiskScanner.cpp", '"shell/disk/map/MapView.h"'),
            ("src/disk/DiskScanner.cpp", '"disk/DiskScannerViewModel.h"'),
            ("src/disk/DiskScanner.cpp", '"platform/qt/Desktop.h"'),
            ("src/disk/DiskScanner.cpp", '"platform/linux/MountTable.h"'),
            ("src/platform/Path.h", '"platform/linux/MountTable.h"'),
            ("src/platform/Path.cpp", '"platform/qt/Desktop.h"'),
            ("src/shell/disk/map/SunburstLayout.cpp", '"MapView.h"'),
            ("src/disk/DiskScannerViewModel.h", '"shell/disk/map/MapView.h"'),
            ("src/disk/DiskScanner.cpp", '"somewhere/Else.h"'),
            ("src/unknown/Thing.cpp", "<vector>"),
        ]:
            with self.subTest(path=path, header=header):
                self.assertEqual(len(self.include(path, header)[:1]), 1)

    def test_aTabThatKnowsAnotherOneIsReported(self):
        headers = {"shell/app/MainView.h", "shell/disk/MapView.h", "shell/kit/Tab.h", "shell/removal/Banner.h",
                   "shell/chooser/Chooser.h", "disk/FileNode.h"}
        tabs = {**rules.ROOMS, "other": {"kit", "removal"}}
        before, rules.ROOMS = rules.ROOMS, tabs
        self.addCleanup(setattr, rules, "ROOMS", before)

        def breaches(path, header):
            return rules.include_rules(path, f'#include "{header}"', headers)

        for path, header in [("src/shell/other/A.cpp", "shell/disk/MapView.h"), ("src/shell/disk/A.cpp", "shell/app/MainView.h"),
                             ("src/shell/kit/A.cpp", "shell/disk/MapView.h"), ("src/shell/kit/A.cpp", "shell/removal/Banner.h"),
                             ("src/shell/removal/A.cpp", "shell/disk/MapView.h"), ("src/shell/disk/A.cpp", "shell/chooser/Chooser.h")]:
            with self.subTest(path=path, header=header):
                self.assertEqual(len(breaches(path, header)), 1)
        for path, header in [("src/shell/app/A.cpp", "shell/disk/MapView.h"), ("src/shell/disk/A.cpp", "shell/kit/Tab.h"),
                             ("src/shell/disk/A.cpp", "shell/removal/Banner.h"), ("src/shell/other/A.cpp", "disk/FileNode.h")]:
            with self.subTest(path=path, header=header):
                self.assertEqual(breaches(path, header), [])

        types = rules.view_types({
            "src/shell/disk/MapView.h": "class MapView : public QObject {\n    Q_OBJECT\n    QML_ELEMENT\n};",
            "src/shell/disk/Row.qml": "", "src/shell/kit/Button.qml": "", "src/shell/app/Frame.qml": ""})
        self.assertEqual(types, {"MapView": "disk", "Row": "disk", "Button": "kit", "Frame": "app"})
        for text in ["Row {}", "required property MapView map", "x: MapView.Kind"]:
            with self.subTest(text=text):
                self.assertEqual(len(rules.tab_view_rule("src/shell/other/A.qml", text, types)), 1)
                self.assertEqual(rules.tab_view_rule("src/shell/disk/A.qml", text, types), [])
        for text in ["Button {}", "required property Frame view", "// Row", 'text: "Row"']:
            with self.subTest(text=text):
                self.assertEqual(rules.tab_view_rule("src/shell/other/A.qml", text, types), [])

    def test_systemAndToolkitHeadersAreReported(self):
        for path, header in [
            ("src/disk/DiskScanner.cpp", "<unistd.h>"),
            ("src/disk/DiskScanner.cpp", "<sys/stat.h>"),
            ("src/platform/Path.cpp", "<fcntl.h>"),
            ("src/shell/disk/map/MapView.cpp", "<dirent.h>"),
            ("src/disk/DiskScanner.cpp", "<QString>"),
            ("src/platform/Path.h", "<QtCore/QString>"),
            ("src/shell/disk/map/SunburstLayout.h", "<QPainter>"),
            ("src/disk/DiskScannerViewModel.h", "<QQuickItem>"),
            ("src/disk/DiskScannerViewModel.cpp", "<QColor>"),
            ("src/platform/Path.cpp", "<sqlite3.h>"),
            ("src/shell/disk/map/MapView.cpp", "<sqlite3.h>"),
        ]:
            with self.subTest(path=path, header=header):
                self.assertEqual(len(self.include(path, header)), 1)

    def test_lawfulIncludesAreNot(self):
        for path, header in [
            ("src/platform/linux/Path.cpp", "<sys/stat.h>"),
            ("src/platform/linux/Path.cpp", '"platform/linux/MountTable.h"'),
            ("src/platform/Collation.cpp", "<unicode/coll.h>"),
            ("src/disk/FileNode.cpp", "<vector>"),
            ("src/disk/ScanIndexDatabase.cpp", "<sqlite3.h>"),
            ("src/disk/DiskScanner.cpp", '"removal/PathRules.h"'),
            ("src/disk/DiskScannerViewModel.cpp", '"removal/FileDeleter.h"'),
            ("src/disk/DiskScannerViewModel.h", "<QObject>"),
            ("src/shell/disk/map/MapView.cpp", '"MapView.h"'),
            ("src/shell/disk/map/MapView.cpp", "<QPainter>"),
            ("src/disk/FileNode.cpp", '"FileNode.h"'),
        ]:
            with self.subTest(path=path, header=header):
                self.assertEqual(self.include(path, header), [])

    def test_includesInCommentsDoNotCount(self):
        self.assertEqual(rules.include_rules("src/disk/A.cpp", "// #include <unistd.h>\n/* \n#include <fcntl.h>\n*/",
                                             self.headers), [])

    def test_networkIsReported(self):
        for header in ["QNetworkAccessManager", "QtNetwork/QTcpSocket", "QSslSocket", "QLocalSocket", "QHostInfo", "netdb.h",
                       "netinet/in.h", "openssl/ssl.h"]:
            with self.subTest(header=header):
                text = f"#include <{header}>"
                self.assertEqual(len(rules.network_rule("src/shell/A.cpp", text)), 1)
                self.assertEqual(rules.network_rule("src/shell/updates/UpdateFetcher.cpp", text), [])
        self.assertEqual(rules.network_rule("src/shell/A.cpp", "#include <QObject>\n#include <openssl/evp.h>"), [])

    def test_threadsAndLocksAreReported(self):
        for code in ["std::jthread worker;", "std::mutex m;", "std::lock_guard lock(m);", "auto f = std::async(g);",
                     "QThread::create(f);", "QtConcurrent::run(f);", "pthread_create(&t, 0, f, 0);",
                     "std::condition_variable_any c;"]:
            with self.subTest(code=code):
                self.assertEqual(len(rules.thread_rule("src/disk/A.cpp", code)), 1)
                self.assertEqual(rules.thread_rule("src/platform/A.cpp", code), [])

    def test_threadsInCommentsAndTextsDoNotCount(self):
        self.assertEqual(rules.thread_rule("src/disk/A.cpp", '// std::mutex\nauto s = "std::mutex";\nauto c = \'"\';'), [])
        # A character literal that holds a quotation mark hides nothing that follows it.
        self.assertEqual(len(rules.thread_rule("src/disk/A.cpp", "auto c = '\"'; std::mutex m; auto d = '\"';")), 1)

    def test_conditionsOnTheSystemAreReported(self):
        for code in ["#ifdef __linux__", "#if defined(__APPLE__)", "#if defined(Q_OS_MACOS)"]:
            with self.subTest(code=code):
                self.assertEqual(len(rules.system_condition_rule("src/platform/Path.h", code)), 1)
                self.assertEqual(rules.system_condition_rule("src/platform/linux/Path.cpp", code), [])

    def test_removalsAreReported(self):
        for code in ["std::filesystem::remove_all(p);", "namespace fs = std::filesystem;", "::unlink(p);", "unlink(p);",
                     "std::remove(p);", "::remove(p.c_str());", "rename(a, b);", "std::rename(a, b);",
                     "::ftruncate(fd, 0);", "open(p, O_WRONLY | O_TRUNC);", "QFile::remove(p);", "QDir(p);",
                     "QFile::moveToTrash(p);", "dir.removeRecursively();", "std::ofstream out(p);", "QSaveFile f(p);",
                     "fopen(p, mode);", "f.open(QIODevice::WriteOnly);"]:
            with self.subTest(code=code):
                self.assertEqual(len(rules.removal_rule("src/disk/A.cpp", code)), 1)

    def test_lawfulWordsAreNot(self):
        for code in ["list.remove(3);", "defaults->remove(key);", "own_files::removeFile(p);", "// unlink(p)",
                     "v.erase(std::remove(v.begin(), v.end(), x), v.end());", "void removeChild(const FileNode& child);",
                     "renameLabel(x);"]:
            with self.subTest(code=code):
                self.assertEqual(rules.removal_rule("src/disk/A.cpp", code), [])

    def test_callersNotOnTheListAreReported(self):
        list_of_one = {"src/disk/A.cpp": {"exists"}}
        self.assertEqual(rules.own_files_rule("src/disk/A.cpp", "own_files::exists(p);", list_of_one), [])
        self.assertEqual(len(rules.own_files_rule("src/disk/A.cpp", "own_files::removeFile(p);", list_of_one)), 1)
        self.assertEqual(len(rules.own_files_rule("src/disk/B.cpp", "own_files::exists(p);", list_of_one)), 1)
        self.assertEqual(len(rules.own_files_rule("src/disk/B.cpp", "using namespace own_files;", list_of_one)), 1)
        self.assertEqual(len(rules.stale_callers({"src/disk/A.cpp": "int x;"}, list_of_one)), 1)

    def test_aWayBesideTheGateIsFound(self):
        self.assertEqual(rules.user_files_rule("src/removal/FileDeleter.cpp", "user_files::Session s;"), [])
        self.assertEqual(rules.user_files_rule("src/platform/linux/userfiles/Trash.cpp", "user_files::Session s;"), [])
        self.assertEqual(len(rules.user_files_rule("src/cleanup/A.cpp", "user_files::Session s;")), 1)
        self.assertEqual(len(rules.user_files_rule("src/cleanup/A.cpp", '#include "platform/UserFiles.h"')), 1)
        self.assertEqual(rules.user_files_rule("src/cleanup/A.cpp", "// user_files"), [])

    def test_wrongNamesAreReported(self):
        paths = {"src/disk/A.h", "src/disk/A.cpp"}
        self.assertEqual(rules.naming_rule("src/disk/A.h", "class A {};", paths), [])
        self.assertEqual(len(rules.naming_rule("src/disk/A.h", "class B {}; // class A", paths)), 1)
        self.assertEqual(rules.naming_rule("src/disk/A.cpp", "", paths), [])
        self.assertEqual(len(rules.naming_rule("src/disk/C.cpp", "", paths)), 1)

    def test_coloursAreReported(self):
        for text in ['color: "#ff0000"', 'color: "red"', "border.color: 'white'", "Qt.rgba(1, 0, 0, 1)",
                     "readonly property color c: '#80ffffff'"]:
            with self.subTest(text=text):
                self.assertEqual(len(rules.colour_rule("src/shell/kit/A.qml", text)), 1)
        for text in ['color: "transparent"', "color: Theme.text", "color: Qt.darker(Theme.accent)", '// color: "#ff0000"']:
            with self.subTest(text=text):
                self.assertEqual(rules.colour_rule("src/shell/kit/A.qml", text), [])
        self.assertEqual(rules.colour_rule("src/shell/kit/Theme.qml", 'color: "#ff0000"'), [])

    def test_wordsOfAnotherSystemAreReported(self):
        for path, text in [
            ("src/disk/A.cpp", 'auto s = "Saved on this Mac.";'),
            ("src/disk/A.cpp", 'auto s = "in System "\n    // a remark\n    "Settings";'),
            ("src/disk/A.cpp", 'auto s = R"(choose Put Back)";'),
            ("src/disk/A.cpp", 'auto c = \'"\'; auto s = "APFS clones";'),
            ("src/shell/A.qml", 'text: qsTr("Show in Finder")'),
            ("src/shell/A.qml", "text: 'Cmd+click'"),
            ("src/shell/A.qml", "text: `macOS ${x}`"),
            ("src/shell/A.qml", 'text: tool + "x.app"'),
        ]:
            with self.subTest(text=text):
                self.assertEqual(len(rules.system_words_rule(path, text)), 1)
        for path, text in [
            ("src/disk/A.cpp", '// on a Mac\nclass DuplicateFinder {}; auto s = "DuplicateFinder";'),
            ("src/disk/A.cpp", 'auto s = "System " + "Settings";'),  # no sentence has these as two
            ("src/shell/A.qml", '// Finder\ntext: qsTr("Open %1").arg(Words.settings) // macOS'),
            ("src/shell/A.qml", 'text: "https://example.org/" /* Mac */'),
            (rules.SYSTEM_WORDS, '.computer = "Mac",'),
        ]:
            with self.subTest(text=text):
                self.assertEqual(rules.system_words_rule(path, text), [])

    def test_scriptsInViewsAreReported(self):
        self.assertEqual(len(rules.view_logic_rule("src/shell/kit/A.qml", 'import "helpers.js" as H')), 1)
        self.assertEqual(len(rules.view_logic_rule("src/shell/kit/A.qml", "new XMLHttpRequest()")), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)

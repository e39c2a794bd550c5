#include "platform/linux/process/RunningProcesses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "platform/DesktopApplication.h"
#include "platform/linux/desktop/DesktopEntryCatalogue.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {

// So that a failure can be read.
static void PrintTo(const DesktopApplication& application, std::ostream* stream) {
    *stream << application.identifier << " (" << application.name << ")";
}

}  // namespace larkfold

namespace larkfold::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* noUnit = "0::/user.slice/user-1000.slice/session-2.scope\n";

// A system of its own: programs, entries, and a folder of processes.
class RunningProcessesTest : public testing::Test {
protected:
    std::string program(const std::string& relative, const std::string& content =
                                                         "\x7F"
                                                         "ELF") {
        std::string path = tree.file(relative, content);
        EXPECT_EQ(chmod(path.c_str(), 0755), 0);
        return path;
    }
    void entry(const std::string& identifier, const std::string& lines, const std::string& folder = "data") {
        tree.file(folder + "/applications/" + identifier + ".desktop",
                  "[Desktop Entry]\nType=Application\n" + lines);
    }
    void process(int number, const std::string& executable, const std::string& controlGroups = noUnit) {
        tree.link("proc/" + std::to_string(number) + "/exe", executable);
        tree.file("proc/" + std::to_string(number) + "/cgroup", controlGroups);
    }
    static std::string inSession(const std::string& unit) {
        return "0::/user.slice/user-1000.slice/user@1000.service/app.slice/" + unit + "\n";
    }
    DesktopEntryCatalogue::Places places() const {
        return {.entryFolders = {tree.path("data/applications"), tree.path("more/applications")},
                .programFolders = {tree.path("usr/bin")},
                .home = tree.path("home"),
                .locale = locale};
    }
    std::vector<DesktopApplication> applications() const {
        return RunningProcesses{.folder = tree.path("proc"), .user = geteuid(), .ownExecutable = own}
            .applications(DesktopEntryCatalogue(places()));
    }

    TemporaryTree tree;
    std::string locale = "C";
    std::string own;
};

TEST_F(RunningProcessesTest, anExecutable_belongsToTheEntryThatStartsIt) {
    const std::string viewer = program("usr/bin/viewer");
    entry("org.example.Viewer", "Name=Viewer\nExec=viewer %f\n");
    process(10, viewer);
    process(11, tree.path("usr/bin/other"));
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"org.example.Viewer", "Viewer"}));
}

TEST_F(RunningProcessesTest, links_areFollowedAndAnUpdateChangesNothing) {
    const std::string real = program("usr/share/viewer/viewer-bin");
    tree.folder("usr/bin");
    tree.link("usr/bin/viewer", "../share/viewer/viewer-bin");
    entry("viewer", "Name=Viewer\nExec=env LANG=C viewer\n");
    process(10, real + " (deleted)");
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"viewer", "Viewer"}));
}

TEST_F(RunningProcessesTest, theNameIsInTheUsersLanguage) {
    locale = "de_DE.UTF-8";
    const std::string files = program("usr/bin/files");
    entry("files", "Name=Files\nName[de]=Dateien\nExec=files\n");
    process(10, files);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"files", "Dateien"}));
}

TEST_F(RunningProcessesTest, anEntryWithoutAName_isToldByItsIdentifier) {
    const std::string viewer = program("usr/bin/viewer");
    entry("viewer", "Exec=viewer\n");
    process(10, viewer);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"viewer", "viewer"}));
}

TEST_F(RunningProcessesTest, aWrapperScript_standsForTheProgramOfItsName) {
    program("usr/bin/browser", "#!/bin/sh\nexec browser\n");
    entry("browser", "Name=Browser\nExec=browser %u\n");
    process(10, "/usr/lib/browser/browser");
    process(11, "/usr/lib/browser/unrelated");
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"browser", "Browser"}));
}

TEST_F(RunningProcessesTest, aProgramInTheApplicationsOwnFolder_belongsToIt) {
    program("opt/example/browser/browser", "#!/bin/sh\nexec ./real\n");
    program("opt/idea/bin/idea.sh", "#!/bin/sh\n");
    entry("browser", "Name=Browser\nExec=" + tree.path("opt/example/browser/browser") + "\n");
    entry("idea", "Name=Idea\nExec=" + tree.path("opt/idea/bin/idea.sh") + "\n");
    process(10, tree.path("opt/example/browser/lib/helper"));
    process(11, tree.path("opt/idea/jbr/bin/java"));
    process(12, tree.path("opt/example/browser-not"));
    EXPECT_THAT(applications(),
                ElementsAre(DesktopApplication{"browser", "Browser"}, DesktopApplication{"idea", "Idea"}));
}

TEST_F(RunningProcessesTest, foldersThatManyUse_sayNothing) {
    program("usr/bin/viewer");
    program("home/Downloads/tool");
    program("home/thing");
    program("shared/one");
    program("shared/two");
    entry("viewer", "Name=Viewer\nExec=viewer\n");
    entry("tool", "Name=Tool\nExec=" + tree.path("home/Downloads/tool") + "\n");
    entry("thing", "Name=Thing\nExec=" + tree.path("home/thing") + "\n");
    entry("one", "Name=One\nExec=" + tree.path("shared/one") + "\n");
    entry("two", "Name=Two\nExec=" + tree.path("shared/two") + "\n");
    process(10, tree.path("usr/bin/ls"));
    process(11, tree.path("home/Downloads/other"));
    process(12, tree.path("home/jobs/other"));
    process(13, tree.path("shared/three"));
    EXPECT_THAT(applications(), IsEmpty());
}

TEST_F(RunningProcessesTest, interpretersAndLaunchers_standForNoEntry) {
    int number = 100;
    for (const char* name : {"python3.11", "bash", "node", "flatpak", "electron25", "java"}) {
        process(number++, program(std::string("usr/bin/") + name));
        entry(std::string("app-of-") + name, std::string("Name=A\nExec=") + name + " /some/where\n");
    }
    tree.link("usr/bin/python3", "python3.11");
    entry("script", "Name=B\nExec=python3 /usr/share/tool.py\n");
    EXPECT_THAT(applications(), IsEmpty());
    // A program that only begins like one is a program.
    process(200, program("usr/bin/pythonista"));
    entry("pythonista", "Name=Pythonista\nExec=pythonista\n");
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"pythonista", "Pythonista"}));
}

TEST_F(RunningProcessesTest, whereTheCommandTellsNothing_theTriedProgramDoes) {
    const std::string viewer = program("usr/bin/viewer");
    program("usr/bin/sh");
    entry("viewer", "Name=Viewer\nTryExec=viewer\nExec=sh -c \"viewer %f\"\n");
    process(10, viewer);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"viewer", "Viewer"}));
}

TEST_F(RunningProcessesTest, ofSeveralEntriesOfOneProgram_theOneShownAndPlainestStands) {
    const std::string office = program("usr/lib/office/office");
    entry("office-calc", "Name=Calc\nExec=" + office + " --calc %U\n");
    entry("office", "Name=Office\nExec=" + office + " %U\n");
    entry("a-handler", "Name=Link Handler\nNoDisplay=true\nExec=" + office + "\n");
    process(10, office);
    process(12, office);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"office", "Office"}));
}

TEST_F(RunningProcessesTest, aHelperThatNoMenuShows_countsOnlyWhereTheSystemNamesIt) {
    const std::string helper = program("usr/bin/helper");
    entry("org.example.Helper", "Name=Helper\nNoDisplay=true\nExec=helper\n");
    process(10, helper);
    EXPECT_THAT(applications(), IsEmpty());
    process(11, helper, inSession("app-gnome-org.example.Helper-11.scope"));
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"org.example.Helper", "Helper"}));
}

TEST_F(RunningProcessesTest, aUnit_namesItsApplicationAlsoWithoutAnEntry) {
    entry("org.example.Mail", "Name=Mail\nExec=missing-program\n");
    process(10, "/usr/bin/python3", inSession("app-org.example.Mail@1.service"));
    process(11, "/usr/bin/whatever", inSession("app-gnome-org.example.Unknown-2.scope"));
    EXPECT_THAT(applications(),
                ElementsAre(DesktopApplication{"org.example.Mail", "Mail"},
                            DesktopApplication{"org.example.Unknown", "org.example.Unknown"}));
}

TEST_F(RunningProcessesTest, whatTheMessageBusStarted_isAnApplicationOnlyWithAnEntry) {
    entry("org.example.Files", "Name=Files\nExec=missing-program\n");
    process(10, "/usr/bin/x", inSession("dbus-:1.2-org.example.Files@0.service"));
    process(11, "/usr/bin/y", inSession("dbus-:1.2-org.example.Daemon@0.service"));
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"org.example.Files", "Files"}));
}

TEST_F(RunningProcessesTest, anEditorStartedInATerminal_isListedBesideIt) {
    const std::string editor = program("usr/bin/editor");
    entry("editor", "Name=Editor\nExec=editor\n");
    process(10, editor, inSession("app-org.example.Terminal-5.scope"));
    EXPECT_THAT(applications(),
                ElementsAre(DesktopApplication{"org.example.Terminal", "org.example.Terminal"},
                            DesktopApplication{"editor", "Editor"}));
}

TEST_F(RunningProcessesTest, flatpaks_areToldByTheirScopeOrTheirInformation) {
    entry("org.example.Paint", "Name=Paint\nExec=/usr/bin/flatpak run org.example.Paint\n", "more");
    process(10, "/app/bin/browser", inSession("app-flatpak-org.example.Browser-10.scope"));
    process(11, "/app/bin/paint");
    tree.file("proc/11/root/.flatpak-info", "[Application]\nname=org.example.Paint\n");
    process(12, "/app/bin/nothing");
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"org.example.Browser", "org.example.Browser"},
                                            DesktopApplication{"org.example.Paint", "Paint"}));
}

TEST_F(RunningProcessesTest, snaps_areToldByTheirOwnName) {
    entry("spotify_spotify", "Name=Music\nExec=/snap/bin/spotify\n");
    process(10, "/snap/spotify/80/usr/share/spotify/spotify",
            inSession("snap.spotify.spotify-0a1b2c3d-0a1b-0a1b-0a1b-0a1b2c3d4e5f.scope"));
    process(11, "/snap/slack/3/usr/lib/slack/slack");
    EXPECT_THAT(applications(),
                ElementsAre(DesktopApplication{"spotify", "Music"}, DesktopApplication{"slack", "slack"}));
}

TEST_F(RunningProcessesTest, oneApplicationOfManyProcesses_isListedOnceAndInTheOrderOfTheOldest) {
    const std::string a = program("usr/bin/a");
    const std::string b = program("usr/bin/b");
    entry("a", "Name=A\nExec=a\n");
    entry("b", "Name=B\nExec=b\n");
    process(100, b);
    process(101, a);
    process(102, b);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"b", "B"}, DesktopApplication{"a", "A"}));
    process(9, a);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"a", "A"}, DesktopApplication{"b", "B"}));
}

TEST_F(RunningProcessesTest, thisProgramItself_isLeftOut) {
    own = program("usr/bin/larkfold");
    const std::string viewer = program("usr/bin/viewer");
    entry("larkfold", "Name=Larkfold\nExec=larkfold\n");
    entry("viewer", "Name=Viewer\nExec=viewer\n");
    process(10, own, inSession("app-gnome-larkfold-10.scope"));
    process(11, "/usr/bin/du", inSession("app-gnome-larkfold-10.scope"));
    process(12, viewer);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"viewer", "Viewer"}));
}

TEST_F(RunningProcessesTest, anEntryOfTheUsers_coversTheSystemsAndMayTakeItAway) {
    const std::string viewer = program("usr/bin/viewer");
    const std::string editor = program("usr/bin/editor");
    entry("viewer", "Name=My Viewer\nExec=viewer\n");
    entry("viewer", "Name=Viewer\nExec=viewer\n", "more");
    entry("editor", "Hidden=true\n");
    entry("editor", "Name=Editor\nExec=editor\n", "more");
    process(10, viewer);
    process(11, editor);
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"viewer", "My Viewer"}));
}

TEST_F(RunningProcessesTest, foldersInAnIdentifier_standAsDashes) {
    entry("kde/inner/tool", "Name=Tool\nExec=missing\n");
    process(10, "/usr/bin/x", inSession("app-kde\\x2dinner\\x2dtool-1.scope"));
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"kde-inner-tool", "Tool"}));
}

TEST_F(RunningProcessesTest, hostileEntries_areBorne) {
    tree.file("data/applications/empty.desktop");
    tree.file("data/applications/.desktop", "[Desktop Entry]\nType=Application\nName=X\n");
    tree.fifo("data/applications/pipe.desktop");
    tree.link("data/applications/dangling.desktop", "nowhere");
    tree.link("data/applications/loop", ".");
    tree.fileOfSize("data/applications/large.desktop", 2'000'000);
    entry("raw", "Name=\xFF raw\nExec=missing\n");
    entry("relative", "Name=R\nExec=../../bin/sh\n");
    process(10, "/usr/bin/x", inSession("app-raw-1.scope"));
    process(11, "/usr/bin/x", inSession("app-\\xff\\xfe-1.scope"));
    EXPECT_THAT(applications(), ElementsAre(DesktopApplication{"raw", "\uFFFD raw"},
                                            DesktopApplication{"\uFFFD\uFFFD", "\uFFFD\uFFFD"}));
}

TEST_F(RunningProcessesTest, whatCannotBeRead_isNotListed) {
    tree.folder("proc/10");  // it has ended meanwhile
    tree.folder("proc/self");
    tree.file("proc/meminfo", "1\n");
    tree.link("proc/11/exe", "/usr/bin/whatever");  // without units
    EXPECT_THAT(applications(), IsEmpty());
    EXPECT_THAT((RunningProcesses{.folder = tree.path("missing"), .user = geteuid(), .ownExecutable = {}}
                     .applications(DesktopEntryCatalogue(places()))),
                IsEmpty());
}

TEST_F(RunningProcessesTest, processesOfOthers_areLeftOut) {
    const std::string viewer = program("usr/bin/viewer");
    entry("viewer", "Name=Viewer\nExec=viewer\n");
    process(10, viewer);
    EXPECT_THAT((RunningProcesses{.folder = tree.path("proc"), .user = geteuid() + 1, .ownExecutable = {}}
                     .applications(DesktopEntryCatalogue(places()))),
                IsEmpty());
}

// The real thing: a copy of a program that runs, an entry in the user's own folder.

class LiveProgram {
public:
    explicit LiveProgram(const std::string& executable) : child_(fork()) {
        if (child_ == 0) {
            execl(executable.c_str(), executable.c_str(), "1000", static_cast<char*>(nullptr));
            _exit(127);
        }
        // Until the new program has taken the place of this one.
        std::string now;
        while (now != executable) {
            char path[4096];
            const ssize_t length =
                readlink(("/proc/" + std::to_string(child_) + "/exe").c_str(), path, sizeof path);
            now = length > 0 ? std::string(path, static_cast<std::size_t>(length)) : "";
            std::this_thread::yield();
        }
    }
    ~LiveProgram() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    LiveProgram(const LiveProgram&) = delete;
    LiveProgram& operator=(const LiveProgram&) = delete;

private:
    pid_t child_;
};

TEST(RunningDesktopApplications, aProgramThatRuns_isListedAndNoLongerWhenItHasEnded) {
    asUnprivilegedUser([](const std::string& home) {
        TemporaryTree tree;
        const std::string program = tree.file("viewer", contentOf("/bin/sleep"));
        ASSERT_EQ(chmod(program.c_str(), 0755), 0);
        const std::string entries = home + "/.local/share/applications";
        ASSERT_EQ(std::system(("mkdir -p " + entries).c_str()), 0);
        const DesktopApplication viewer{"org.example.Viewer", "Live Viewer"};
        const auto writeEntry = [&](const std::string& name) {
            const std::string text =
                "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + program + "\n";
            ASSERT_EQ(std::system(("printf '" + text + "' > " + entries + "/new; mv " + entries + "/new " +
                                   entries + "/org.example.Viewer.desktop")
                                      .c_str()),
                      0);
        };
        EXPECT_THAT(runningDesktopApplications(), Not(Contains(viewer)));
        {
            const LiveProgram live(program);
            EXPECT_THAT(runningDesktopApplications(), Not(Contains(viewer)));
            // A new entry is seen at once, and so is a changed one.
            writeEntry("Live Viewer");
            EXPECT_THAT(runningDesktopApplications(), Contains(viewer));
            writeEntry("Renamed");
            EXPECT_THAT(runningDesktopApplications(),
                        Contains(DesktopApplication{"org.example.Viewer", "Renamed"}));
        }
        EXPECT_THAT(runningDesktopApplications(),
                    Not(Contains(DesktopApplication{"org.example.Viewer", "Renamed"})));
    });
}

TEST(RunningDesktopApplications, manyThreadsAtOnce_seeTheSame) {
    const std::vector<DesktopApplication> expected = runningDesktopApplications();
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&expected] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_EQ(runningDesktopApplications(), expected);
            }
        });
    }
}

}  // namespace
}  // namespace larkfold::test

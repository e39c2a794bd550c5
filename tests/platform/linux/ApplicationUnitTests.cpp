#include "platform/linux/desktop/ApplicationUnit.h"

#include <gtest/gtest.h>

namespace larkfold::test {
namespace {

using Kind = ApplicationUnit::Kind;

// The unit named by the last folder below a user's session.
std::optional<ApplicationUnit> unit(const std::string& name) {
    return applicationUnit("0::/user.slice/user-1000.slice/user@1000.service/app.slice/" + name + "\n");
}

std::string application(const std::string& name) {
    const auto found = unit(name);
    return found && found->kind == Kind::application ? found->identifier : "none";
}

TEST(ApplicationUnit, scopesOfDesktops_nameTheirApplication) {
    EXPECT_EQ(application("app-gnome-org.gnome.Evince-1234.scope"), "org.gnome.Evince");
    EXPECT_EQ(application("app-org.kde.konsole-8a7b6c.scope"), "org.kde.konsole");
    EXPECT_EQ(application("app-gnome-google\\x2dchrome-1234.scope"), "google-chrome");
    EXPECT_EQ(application("app-flatpak-org.mozilla.firefox-77.scope"), "org.mozilla.firefox");
    EXPECT_EQ(application("gnome-launched-org.gnome.Maps.desktop-99.scope"), "org.gnome.Maps");
}

TEST(ApplicationUnit, servicesOfDesktops_nameTheirApplication) {
    EXPECT_EQ(application("app-org.kde.kate@1a2b3c4d.service"), "org.kde.kate");
    EXPECT_EQ(application("app-KDE-firefox\\x2desr@9f.service"), "firefox-esr");
    EXPECT_EQ(application("app-org.example.Mail@autostart.service"), "org.example.Mail");
    EXPECT_EQ(application("app-org.example.Mail.service"), "org.example.Mail");
}

TEST(ApplicationUnit, whatIsBelowAnApplicationsUnit_belongsToIt) {
    EXPECT_EQ(application("app-gnome-code-12.scope/inner"), "code");
    // A shell in a terminal has a scope of its own in the terminal's slice, and is no application.
    EXPECT_FALSE(unit("app-org.gnome.Terminal.slice/vte-spawn-1a2b.scope"));
}

TEST(ApplicationUnit, whatIsNoApplication_isNone) {
    EXPECT_FALSE(unit("session.slice/pipewire.service"));
    EXPECT_FALSE(unit("init.scope"));
    EXPECT_FALSE(unit("app-.scope"));
    EXPECT_FALSE(unit("app-onlyone.scope"));
    EXPECT_FALSE(unit("app-x-.scope.d"));
    EXPECT_FALSE(applicationUnit(""));
    EXPECT_FALSE(applicationUnit("0::/\n"));
    EXPECT_FALSE(applicationUnit("nonsense\n:\n::\n"));
}

TEST(ApplicationUnit, olderHierarchies_areReadToo) {
    const auto found =
        applicationUnit("12:pids:/user.slice\n1:name=systemd:/user.slice/app-gnome-vlc-5.scope\n0::/\n");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->identifier, "vlc");
}

TEST(ApplicationUnit, whatTheMessageBusStarted_isToldAsThat) {
    const auto found = unit("dbus-:1.2-org.gnome.Nautilus@0.service");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->kind, Kind::activated);
    EXPECT_EQ(found->identifier, "org.gnome.Nautilus");
    EXPECT_FALSE(unit("dbus-:1.2.service"));
    EXPECT_FALSE(unit("dbus-:@0.service"));
}

TEST(ApplicationUnit, snaps_areToldByNameAndApplication) {
    const ApplicationUnit expected{.kind = Kind::snap, .identifier = "firefox", .snapApplication = "firefox"};
    EXPECT_EQ(unit("snap.firefox.firefox-0a1b2c3d-0a1b-0a1b-0a1b-0a1b2c3d4e5f.scope"), expected);
    EXPECT_EQ(unit("snap.firefox.firefox.0a1b2c3d-0a1b-0a1b-0a1b-0a1b2c3d4e5f.scope"), expected);
    EXPECT_EQ(
        unit("snap.teams-for-linux.teams-for-linux-0a1b2c3d-0a1b-0a1b-0a1b-0a1b2c3d4e5f.scope"),
        (ApplicationUnit{
            .kind = Kind::snap, .identifier = "teams-for-linux", .snapApplication = "teams-for-linux"}));
    EXPECT_FALSE(unit("snap.cups.cupsd.service"));
    EXPECT_FALSE(unit("snap..x-1.scope"));
}

TEST(ApplicationUnit, aSandboxsInformation_namesItsApplication) {
    EXPECT_EQ(
        flatpakIdentifier("[Application]\nname=org.gimp.GIMP\nruntime=runtime/x\n\n[Instance]\nname=no\n"),
        "org.gimp.GIMP");
    EXPECT_EQ(flatpakIdentifier("[Runtime]\nname=org.example.Runtime\n"), "");
    EXPECT_EQ(flatpakIdentifier(""), "");
}

TEST(ApplicationUnit, aSnapsExecutable_namesItUnlessSnapsHaveItInCommon) {
    EXPECT_EQ(snapName("/snap/spotify/80/usr/share/spotify/spotify"), "spotify");
    EXPECT_EQ(snapName("/snap/core22/1/usr/bin/bash"), "");
    EXPECT_EQ(snapName("/snap/snapd/1/usr/lib/snapd/snapd"), "");
    EXPECT_EQ(snapName("/snap/bin/spotify"), "");
    EXPECT_EQ(snapName("/snap/x"), "");
    EXPECT_EQ(snapName("/usr/bin/spotify"), "");
}

}  // namespace
}  // namespace larkfold::test

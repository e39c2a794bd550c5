#include "platform/UserLocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void makeFolder(const std::string& path) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << path;
}

void writeUserFolders(const std::string& home, const std::string& text) {
    makeFolder(home + "/.config");
    std::ofstream(home + "/.config/user-dirs.dirs") << text;
}

// The paths of the user's own folders: what stands between the home folder and the file system.
std::vector<std::string> userFolders() {
    std::vector<std::string> paths;
    for (const UserLocation& place : userLocations()) {
        if (place.kind != UserLocation::Kind::home && place.kind != UserLocation::Kind::fileSystem &&
            place.kind != UserLocation::Kind::volume) {
            paths.push_back(place.path);
        }
    }
    return paths;
}

TEST(UserLocationTest, theHomeFolderComesFirstAndTheFileSystemIsThere) {
    test::asUnprivilegedUser([](const std::string& home) {
        const std::vector<UserLocation> places = userLocations();
        ASSERT_GE(places.size(), 2U);
        EXPECT_EQ(places.front().kind, UserLocation::Kind::home);
        EXPECT_EQ(places.front().path, home);
        const auto root = std::find_if(places.begin(), places.end(), [](const UserLocation& place) {
            return place.kind == UserLocation::Kind::fileSystem;
        });
        ASSERT_NE(root, places.end());
        EXPECT_EQ(root->path, "/");
    });
}

TEST(UserLocationTest, withoutTheDesktopsFileTheUsualNamesCountWhereTheyExist) {
    test::asUnprivilegedUser([](const std::string& home) {
        EXPECT_THAT(userFolders(), IsEmpty());
        makeFolder(home + "/Downloads");
        makeFolder(home + "/Desktop");
        EXPECT_THAT(userFolders(), ElementsAre(home + "/Desktop", home + "/Downloads"));
    });
}

TEST(UserLocationTest, theDesktopsFileNamesTheUsersFolders) {
    test::asUnprivilegedUser([](const std::string& home) {
        makeFolder(home + "/Desktop");  // not what the file names
        makeFolder(home + "/B\xC3\xBCro");
        makeFolder(home + "/Musik \"laut\"");
        makeFolder(home + "/elsewhere");
        writeUserFolders(home,
                         "# a comment\n"
                         "XDG_DESKTOP_DIR=\"$HOME/B\xC3\xBCro\"\n"
                         "XDG_DOWNLOAD_DIR=\"$HOME/\"\n"
                         "XDG_DOCUMENTS_DIR=\"$HOME/not there\"\n"
                         "XDG_MUSIC_DIR=\"$HOME/Musik \\\"laut\\\"\"\n"
                         "XDG_PICTURES_DIR=relative\n"
                         "XDG_VIDEOS_DIR=\"" +
                             home + "/elsewhere\"\n");
        EXPECT_THAT(userFolders(),
                    ElementsAre(home + "/B\xC3\xBCro", home + "/Musik \"laut\"", home + "/elsewhere"));
    });
}

TEST(UserLocationTest, noVolumeIsOneOfTheSystemsOwnMounts) {
    for (const UserLocation& place : userLocations()) {
        if (place.kind != UserLocation::Kind::volume) {
            continue;
        }
        EXPECT_NE(place.path, "/");
        for (const char* system : {"/proc", "/sys", "/dev", "/boot"}) {
            EXPECT_FALSE(place.path.starts_with(system)) << place.path;
        }
        EXPECT_FALSE(place.name.empty()) << place.path;
    }
}

}  // namespace
}  // namespace larkfold

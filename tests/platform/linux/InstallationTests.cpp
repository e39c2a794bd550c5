#include "platform/Installation.h"

#include <gtest/gtest.h>

namespace larkfold {
namespace {

TEST(InstallationTest, theSystemsPlacesBelongToItsPackageManager) {
    for (const char* path :
         {"/usr/bin/larkfold", "/usr/lib/larkfold/larkfold", "/bin/larkfold",
          "/nix/store/abc-larkfold/bin/larkfold", "/gnu/store/abc-larkfold/bin/larkfold"}) {
        EXPECT_EQ(installationOfProgram(path), Installation::systemPackage) << path;
    }
}

TEST(InstallationTest, whatSomebodyPutThereByHandDoesNot) {
    for (const char* path : {"/usr/local/bin/larkfold", "/opt/larkfold/bin/larkfold",
                             "/home/anna/bin/larkfold", "/usrlocal/larkfold", "larkfold", ""}) {
        EXPECT_EQ(installationOfProgram(path), Installation::unmanaged) << path;
    }
}

TEST(InstallationTest, aProgramThatRunsFromItsBuildFolderIsNobodysPackage) {
    EXPECT_EQ(currentInstallation(), Installation::unmanaged);
}

}  // namespace
}  // namespace larkfold

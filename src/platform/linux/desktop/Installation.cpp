#include "platform/Installation.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/Confinement.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// What the Filesystem Hierarchy Standard leaves to the system, and the stores of two package managers that
// keep everything in a folder of their own.
constexpr std::array<std::string_view, 5> packageFolders{"/usr/", "/bin/", "/sbin/", "/nix/store/",
                                                         "/gnu/store/"};
// Within the above: what the administrator puts there by hand.
constexpr std::string_view localFolder = "/usr/local/";

}  // namespace

Installation installationOfProgram(std::string_view path) {
    const auto holdsProgram = [path](std::string_view folder) { return path.starts_with(folder); };
    return std::ranges::any_of(packageFolders, holdsProgram) && !holdsProgram(localFolder)
               ? Installation::systemPackage
               : Installation::unmanaged;
}

Installation currentInstallation() {
    switch (currentConfinement()) {
        case Confinement::flatpak:
            return Installation::flatpak;
        case Confinement::snap:
            return Installation::snap;
        case Confinement::none:
            break;
    }
    std::array<char, PATH_MAX> program;
    const ssize_t length = ::readlink("/proc/self/exe", program.data(), program.size());
    return length <= 0 ? Installation::unmanaged
                       : installationOfProgram({program.data(), static_cast<std::size_t>(length)});
}

}  // namespace larkfold

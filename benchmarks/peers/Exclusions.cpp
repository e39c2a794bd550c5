// Prints what a scan of the whole disk leaves out on this machine, each path with a NUL behind it, so that a
// comparison with another program can leave out the same.
#include <iostream>

#include "disk/DiskScannerViewModel.h"
#include "platform/Volumes.h"

int main() {
    for (const std::string& path : larkfold::DiskScannerViewModel::startupScanExclusions()) {
        std::cout << path << '\0';
    }
    for (const std::string& path : larkfold::startupDiskExclusions()) {
        std::cout << path << '\0';
    }
    std::cout.flush();
    return std::cout.good() ? 0 : 1;
}

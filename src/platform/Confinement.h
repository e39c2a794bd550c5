// Whether this program may see the whole home folder, and what stands in the way if not.
#pragma once

#include <string>

namespace larkfold {

enum class Confinement { none, flatpak, snap };

// How the running program is confined. Cheap; safe from any thread.
Confinement currentConfinement();

// Whether protected folders can be read: on Linux, that the program is not confined and the real home folder
// can be listed. Touches the disk, so not on the main thread. Every error counts as no.
bool probeFullDiskAccess();

}  // namespace larkfold

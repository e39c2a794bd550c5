// Reading the label that the kernel's security module gives a process. Linux part of the platform layer only.
#pragma once

#include <string_view>

namespace larkfold {

// True for "snap.larkfold.larkfold (enforce)": a program started from within a snap's terminal inherits the
// snap's environment but not this label, and a snap without confinement runs in the mode "complain".
inline bool isConfiningSnapLabel(std::string_view label) {
    while (!label.empty() && (label.back() == '\n' || label.back() == '\0')) {
        label.remove_suffix(1);
    }
    return label.starts_with("snap.") && label.ends_with(" (enforce)");
}

}  // namespace larkfold

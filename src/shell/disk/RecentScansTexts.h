// The sentences of the list of recent scans, in one place.
#pragma once

#include <QString>

namespace larkfold::recent_scans_texts {

// Of an entry whose folder is not found any more.
inline const QString needsPermission =
    QStringLiteral("This saved folder needs permission again. Please select it manually.");

// What was done to the list, beside the button that takes it back. Files are not concerned.
inline const QString removed =
    QStringLiteral("“%1” was removed from the list. The folder itself is untouched.");
inline const QString cleared = QStringLiteral("The list was cleared. Your folders are untouched.");

inline const QString current = QStringLiteral("Current");

}  // namespace larkfold::recent_scans_texts

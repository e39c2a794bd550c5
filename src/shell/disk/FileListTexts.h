// The sentences of the file list and of the preview, in one place.
#pragma once

#include <QString>

namespace larkfold::file_list_texts {

// Why the list is empty: a heading and what it means.
inline const QString noFolderTitle = QStringLiteral("No folder to list");
inline const QString noFolderText =
    QStringLiteral("Scan a disk or a folder, and what it holds is listed here.");
inline const QString emptyFolderTitle = QStringLiteral("This folder is empty");
inline const QString emptyFolderText =
    QStringLiteral("The scan found nothing in it, or only items that it was told to leave out.");
inline const QString nothingMatchesTitle = QStringLiteral("Nothing matches");
inline const QString nothingMatchesText = QStringLiteral(
    "No entry of this folder fits the search and the filters. What is deeper is looked through when "
    "subfolders are included.");
inline const QString nothingMatchesHereText =
    QStringLiteral("No entry of this folder fits the search and the filters.");
inline const QString nothingMatchesBelowText =
    QStringLiteral("No entry of this folder or below it fits the search and the filters.");
// Where some of what there is stands in summaries.
inline const QString nothingLoadedMatchesTitle = QStringLiteral("Nothing found among loaded entries");

inline const QString aggregateCannotBePreviewed =
    QStringLiteral("This line stands for many files together, so there is no single file to show.");
inline const QString noLongerThere = QStringLiteral(
    "“%1” is no longer there. It was moved or removed after the scan; scan again to bring the list up "
    "to date.");
inline const QString aggregateHasNoPath =
    QStringLiteral("This line stands for many files together, so it has no path of its own.");

// A row's share, and the folder that it is a share of.
inline const QString shareOf = QStringLiteral("%1 of “%2”");

// Why a summary cannot be opened.
inline const QString summaryCannotBeOpened = QStringLiteral(
    "The saved scan that would list these files is not there, so they cannot be loaded. Scan the folder by "
    "itself to see them.");

// Of the preview.
inline const QString previewEmptyFile = QStringLiteral("This file is empty.");
inline const QString previewNoPicture =
    QStringLiteral("This picture cannot be shown. It may be damaged or of a kind that is not known here.");
inline const QString previewPictureTooLarge = QStringLiteral("This picture is too large to be shown here.");
inline const QString previewNotRegular = QStringLiteral("This is not an ordinary file, so it is not opened.");
inline const QString previewTextIsCut = QStringLiteral("Only the beginning is shown.");

}  // namespace larkfold::file_list_texts

// The feed of releases: RSS 2.0 with the elements that updaters of desktop programs have long used in it
// ("appcast"); docs/update-feed.md tells which of them are read.
//
// What is given to `parse` has been proved to come from the makers, and still is read as if it had
// not: no entity beyond those of XML itself, no document type, nothing nested deeper, longer or with
// more attributes than a feed has reason to be, and everything that is to be shown is plain text.
// Values; safe from any thread.
#pragma once

#include <QString>
#include <QUrl>
#include <optional>
#include <stop_token>
#include <string_view>
#include <vector>

#include "platform/Date.h"
#include "shell/updates/AppVersion.h"

namespace larkfold {

struct Appcast {
    // One release.
    struct Item {
        AppVersion version;
        QString name;    // of the version, as the user reads it
        QString notes;   // what is new: plain text, as it stands in the feed; empty where it says nothing
        QUrl page;       // where to get it, or invalid. Always https.
        QUrl notesPage;  // where more is told, or invalid. Always https.
    };

    // When the feed was made: what tells an old one from a new one.
    std::optional<Date> date;
    std::vector<Item> items;  // those for this system, in the order of the feed

    // A feed has at most this many bytes,
    static constexpr std::size_t largestFeed = std::size_t{1} << 20;
    // an element this many attributes, declarations of namespaces with them, and one of them this many bytes.
    // The toolkit compares each attribute of an element with all before it: a feed of the largest size that
    // is a single element would keep it busy for minutes.
    static constexpr std::size_t mostAttributes = 32;
    static constexpr std::size_t longestAttribute = 4096;

    // Takes time in proportion to the bytes. Throws UpdateError where they have a document type declaration
    // (documentType) or are no feed (unreadable), CancellationError where `stop` is asked for meanwhile.
    static Appcast parse(std::string_view bytes, const std::stop_token& stop = {});

    // What is newer than `current`, the newest first, at most `limit` of them. Preliminary versions come
    // only to those who have one.
    std::vector<Item> newerThan(const AppVersion& current, std::size_t limit) const;
};

}  // namespace larkfold

// The feed of releases, and the versions in it: docs/update-feed.md. The program reads a feed only
// after its signature was proved; here everything is read.
#include "shell/updates/Appcast.h"

#include <algorithm>

#include "StoredFormat.h"
#include "shell/updates/UpdateError.h"

namespace larkfold::fuzz {

namespace {

constexpr qsizetype shortText = 64;

void requirePlain(const QString& text, qsizetype limit) {
    require(text.size() <= limit);
    require(std::ranges::all_of(text, [](QChar unit) {
        return unit == u'\n' || unit.isSurrogate() || (unit.unicode() >= 0x20 && unit.unicode() != 0x202E);
    }));
}

void requireSecure(const QUrl& url) {
    require(!url.isValid() || (url.scheme() == u"https" && !url.host().isEmpty()));
}

void requireSound(const Appcast& feed) {
    const AppVersion own = AppVersion::parse("0.1.0-rc.1").value();
    const AppVersion* last = nullptr;
    const auto newer = feed.newerThan(own, 10);
    require(newer.size() <= std::min<std::size_t>(feed.items.size(), 10));
    for (const Appcast::Item& item : newer) {
        require(item.version > own && (last == nullptr || item.version < *last));
        last = &item.version;
    }
    for (const Appcast::Item& item : feed.items) {
        requirePlain(item.name, shortText);
        requirePlain(item.notes, 20'000);
        requireSecure(item.page);
        requireSecure(item.notesPage);
        require(AppVersion::parse(item.version.text()) == item.version);
    }
}

}  // namespace

void writeSeeds(const std::string& folder) {
    const std::string begin =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><rss version=\"2.0\" "
        "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>";
    const std::string end = "</channel></rss>";
    writeBytes(
        folder + "/usual",
        begin +
            "<lastBuildDate>Sat, 21 Nov 2026 10:00:00 +0000</lastBuildDate><item><title>Larkfold</title>"
            "<sparkle:version>0.2.0</sparkle:version><sparkle:shortVersionString>0.2</"
            "sparkle:shortVersionString>"
            "<pubDate>Sat, 21 Nov 2026 10:00:00 GMT</pubDate><link>https://example.org/get</link>"
            "<sparkle:releaseNotesLink>https://example.org/notes</sparkle:releaseNotesLink>"
            "<description>- Faster &amp; &#x41;\n- <![CDATA[<b>]]></description></item>" +
            end);
    writeBytes(folder + "/older",
               begin +
                   "<item><sparkle:channel>beta</sparkle:channel><enclosure url=\"https://example.org/a\" "
                   "sparkle:version=\"1.0-beta.2+7\" sparkle:os=\"linux\" length=\"1\"/></item>" +
                   end);
    writeBytes(folder + "/entities", "<!DOCTYPE rss [<!ENTITY a \"b\">]><rss><channel>&a;</channel></rss>");
    writeBytes(folder + "/attributes", begin + "<!-- a='>' --><?a b='?>'?><a b='\"' c=\">'\"/>" + end);
    writeBytes(folder + "/version", "1.2.3-rc.1+build.5");
}

void read(std::string_view bytes) {
    try {
        requireSound(Appcast::parse(bytes));
    } catch (const UpdateError& error) {
        require(error.reason() == UpdateError::Case::unreadable ||
                error.reason() == UpdateError::Case::documentType);
    }
    if (const auto version = AppVersion::parse(bytes)) {
        require(*version == *version && AppVersion::parse(version->text()) == version);
    }
}

}  // namespace larkfold::fuzz

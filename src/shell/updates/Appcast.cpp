#include "shell/updates/Appcast.h"

#include <QDateTime>
#include <QXmlStreamReader>
#include <algorithm>
#include <functional>

#include "platform/Error.h"
#include "platform/UTF8.h"
#include "shell/updates/UpdateError.h"

namespace larkfold {

namespace {

// A name and not a place: nothing is ever read from there.
constexpr auto kNamespace = u"http://www.andymatuschak.org/xml-namespaces/sparkle";
constexpr auto kSystem = u"linux";

constexpr int kDeepest = 32;                 // elements within each other
constexpr std::size_t kMostItems = 1000;     // far beyond what anybody releases
constexpr qsizetype kLongestText = 200'000;  // characters of one element
constexpr qsizetype kLongestNotes = 20'000;  // characters that are shown of one release
constexpr qsizetype kLongestName = 64;
constexpr qsizetype kLongestAddress = 2048;

[[noreturn]] void refuse(UpdateError::Case reason = UpdateError::Case::unreadable) {
    throw UpdateError(reason);
}

// Looks at the marks of a feed before the toolkit reads it: that there is no document type declaration, and
// that no element has more or longer attributes than the limits. What is not well formed is left to the
// toolkit; up to there it takes the same characters for marks as this does.
class Marks {
public:
    explicit Marks(std::string_view bytes) : bytes_(bytes) {}

    void check() {
        while ((place_ = bytes_.find('<', place_)) != std::string_view::npos) {
            if (at("<!--")) {
                skipTo("-->", 4);
            } else if (at("<![CDATA[")) {
                skipTo("]]>", 9);
            } else if (at("<?")) {
                skipTo("?>", 2);
            } else if (at("<!")) {
                refuse(at("<!DOCTYPE") ? UpdateError::Case::documentType : UpdateError::Case::unreadable);
            } else {
                checkTag();
            }
        }
    }

private:
    bool at(std::string_view mark) const { return bytes_.substr(place_).starts_with(mark); }

    void skipTo(std::string_view end, std::size_t from) {
        const std::size_t found = bytes_.find(end, place_ + from);
        place_ = found == std::string_view::npos ? bytes_.size() : found + end.size();
    }

    // To behind the tag that begins here. Each attribute has its value in quotation marks.
    void checkTag() {
        for (std::size_t attributes = 0;;) {
            place_ = bytes_.find_first_of("\"'>", place_);
            if (place_ == std::string_view::npos) {
                return;
            }
            if (bytes_[place_] == '>') {
                ++place_;
                return;
            }
            const std::size_t end = std::min(bytes_.find(bytes_[place_], place_ + 1), bytes_.size());
            if (++attributes > Appcast::mostAttributes || end - place_ - 1 > Appcast::longestAttribute) {
                refuse();
            }
            place_ = std::min(end + 1, bytes_.size());
        }
    }

    std::string_view bytes_;
    std::size_t place_ = 0;
};

// What a window may show of a text: at most `limit` characters, a longer one ending with an ellipsis, and
// none of those that are not seen but change what is seen (that turn the direction of writing, for example).
QString shown(const QString& text, qsizetype limit) {
    QString visible;
    for (const char32_t character : text.trimmed().toUcs4()) {
        if (character == U'\t') {
            visible += u' ';
        } else if (character == U'\n' || QChar::isPrint(character)) {
            visible += QString::fromUcs4(&character, 1);
        }
    }
    if (visible.size() <= limit) {
        return visible;
    }
    const qsizetype end = visible[limit - 2].isHighSurrogate() ? limit - 2 : limit - 1;
    return visible.first(end) + u'\u2026';
}

// A secure address, or none.
QUrl secureAddress(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.size() > kLongestAddress) {
        return {};
    }
    const QUrl url(trimmed, QUrl::StrictMode);
    const bool isPlain =
        url.isValid() && url.scheme() == u"https" && !url.host().isEmpty() && url.userInfo().isEmpty();
    return isPlain ? url : QUrl();
}

std::optional<Date> dateFrom(const QString& text) {
    QString written = text.trimmed();
    // The old names of the zone at the zero meridian, which the toolkit does not know.
    for (const char16_t* zone : {u"GMT", u"UTC", u"UT", u"Z"}) {
        const QString ending = u' ' + QStringView(zone).toString();
        if (written.endsWith(ending)) {
            written.chop(ending.size());
            written += QStringLiteral(" +0000");
            break;
        }
    }
    const auto moment = QDateTime::fromString(written, Qt::RFC2822Date);
    return moment.isValid()
               ? std::optional(dateFromSecondsSince1970(static_cast<double>(moment.toSecsSinceEpoch())))
               : std::nullopt;
}

// What an item says, before it is judged.
struct RawItem {
    QString version;
    QString shortVersion;
    QString link;
    QString download;
    QString notesLink;
    QString description;
    QString system;
    QString channel;
    std::optional<Date> date;
};

// One reading of a feed. Nothing recurses with the depth of the document.
class Reader {
public:
    Reader(const QString& text, const std::stop_token& stop) : xml_(text), stop_(stop) {}

    Appcast read() {
        enterRoot();
        forEachChild([this] {
            if (is(u"channel") && !hasChannel_) {
                hasChannel_ = true;
                readChannel();
            } else {
                skip();
            }
        });
        while (next() != QXmlStreamReader::EndDocument) {
        }
        if (!hasChannel_) {
            refuse();
        }
        if (!feed_.date) {
            feed_.date = newestItem_;
        }
        return std::move(feed_);
    }

private:
    QXmlStreamReader::TokenType next() {
        if (stop_.stop_requested()) {
            throw CancellationError();
        }
        const auto token = xml_.readNext();
        switch (token) {
            case QXmlStreamReader::StartElement:
                if (++depth_ > kDeepest) {
                    refuse();
                }
                break;
            case QXmlStreamReader::EndElement:
                --depth_;
                break;
            case QXmlStreamReader::Invalid:
            case QXmlStreamReader::DTD:  // refused before; never read by the toolkit alone
            case QXmlStreamReader::EntityReference:
                refuse();
            default:
                break;
        }
        return token;
    }

    void enterRoot() {
        while (next() != QXmlStreamReader::StartElement) {
            if (xml_.atEnd()) {
                refuse();
            }
        }
        if (!is(u"rss")) {
            refuse();
        }
    }

    // Calls `child` at the beginning of each element in the one that is open; it reads to that element's end.
    void forEachChild(const std::function<void()>& child) {
        const int own = depth_;
        while (depth_ >= own) {
            if (next() == QXmlStreamReader::StartElement) {
                child();
            }
        }
    }

    void skip() {
        const int own = depth_;
        while (depth_ >= own) {
            next();
        }
    }

    // The characters of the element that is open, those of elements in it with it.
    QString text() {
        QString collected;
        const int own = depth_;
        while (depth_ >= own) {
            const auto token = next();
            if (token == QXmlStreamReader::Characters) {
                collected += xml_.text();
            } else if (token == QXmlStreamReader::StartElement) {
                collected += u' ';
            }
            if (collected.size() > kLongestText) {
                refuse();
            }
        }
        return collected;
    }

    bool is(QStringView name) const { return xml_.namespaceUri().isEmpty() && xml_.name() == name; }
    bool isOwn(QStringView name) const {
        return xml_.namespaceUri() == QStringView(kNamespace) && xml_.name() == name;
    }
    QString ownAttribute(const QString& name) const {
        return xml_.attributes().value(QStringView(kNamespace).toString(), name).toString();
    }

    void readChannel() {
        forEachChild([this] {
            if (is(u"item")) {
                readItem();
            } else if (is(u"lastBuildDate")) {
                feed_.date = dateFrom(text());
            } else {
                skip();
            }
        });
    }

    void readItem() {
        if (++itemCount_ > kMostItems) {
            refuse();
        }
        RawItem item;
        forEachChild([this, &item] { readPartOf(item); });
        if (item.date && (!newestItem_ || *item.date > *newestItem_)) {
            newestItem_ = item.date;
        }
        judge(item);
    }

    void readPartOf(RawItem& item) {
        if (isOwn(u"version")) {
            item.version = text();
        } else if (isOwn(u"shortVersionString")) {
            item.shortVersion = text();
        } else if (isOwn(u"channel")) {
            item.channel = text().trimmed();
        } else if (isOwn(u"releaseNotesLink") && item.notesLink.isEmpty()) {
            item.notesLink = text();
        } else if (is(u"link")) {
            item.link = text();
        } else if (is(u"description")) {
            item.description = text();
        } else if (is(u"pubDate")) {
            item.date = dateFrom(text());
        } else if (is(u"enclosure")) {
            readEnclosure(item);
        } else {
            skip();
        }
    }

    void readEnclosure(RawItem& item) {
        item.download = xml_.attributes().value(QStringLiteral("url")).toString();
        item.system = ownAttribute(QStringLiteral("os"));
        // Where older feeds have them.
        if (item.version.isEmpty()) {
            item.version = ownAttribute(QStringLiteral("version"));
        }
        if (item.shortVersion.isEmpty()) {
            item.shortVersion = ownAttribute(QStringLiteral("shortVersionString"));
        }
        skip();
    }

    void judge(const RawItem& item) {
        const QString written = item.version.trimmed().isEmpty() ? item.shortVersion : item.version;
        auto version = AppVersion::parse(written.trimmed().toStdString());
        const bool isForUs =
            item.channel.isEmpty() &&
            (item.system.isEmpty() || item.system.compare(kSystem, Qt::CaseInsensitive) == 0);
        if (!version || !isForUs) {
            return;
        }
        const QString name = shown(item.shortVersion.simplified(), kLongestName);
        const QUrl page = secureAddress(item.link);
        feed_.items.push_back({.version = *version,
                               .name = name.isEmpty() ? QString::fromStdString(version->text()) : name,
                               .notes = shown(item.description, kLongestNotes),
                               .page = page.isValid() ? page : secureAddress(item.download),
                               .notesPage = secureAddress(item.notesLink)});
    }

    QXmlStreamReader xml_;
    const std::stop_token& stop_;
    Appcast feed_;
    std::optional<Date> newestItem_;
    std::size_t itemCount_ = 0;
    int depth_ = 0;
    bool hasChannel_ = false;
};

}  // namespace

Appcast Appcast::parse(std::string_view bytes, const std::stop_token& stop) {
    // Taken as text here, so that no declaration in it chooses another encoding.
    if (bytes.size() > largestFeed || !utf8::isValid(bytes)) {
        refuse();
    }
    Marks(bytes).check();
    return Reader(QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size())), stop).read();
}

std::vector<Appcast::Item> Appcast::newerThan(const AppVersion& current, std::size_t limit) const {
    std::vector<Item> newer;
    std::ranges::copy_if(items, std::back_inserter(newer), [&current](const Item& item) {
        return item.version > current && (!item.version.isPreliminary() || current.isPreliminary());
    });
    std::ranges::stable_sort(newer, [](const Item& a, const Item& b) { return a.version > b.version; });
    // A version that stands in the feed twice is one release; what is said first holds.
    const auto twice = std::ranges::unique(newer, {}, &Item::version);
    newer.erase(twice.begin(), twice.end());
    if (newer.size() > limit) {
        newer.erase(newer.begin() + static_cast<std::ptrdiff_t>(limit), newer.end());
    }
    return newer;
}

}  // namespace larkfold

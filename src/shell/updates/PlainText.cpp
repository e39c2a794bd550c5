#include "shell/updates/PlainText.h"

#include <QList>
#include <QStringView>
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace larkfold {

namespace {

// Blocks: each begins and ends a line.
constexpr std::array kBlocks{u"p",       u"div",     u"ul",         u"ol",  u"li", u"h1",
                             u"h2",      u"h3",      u"h4",         u"h5",  u"h6", u"tr",
                             u"section", u"article", u"blockquote", u"pre", u"hr", u"table"};
// What stands in these is not for a reader.
constexpr std::array kUnseen{u"script", u"style", u"head", u"template"};

constexpr std::array kReferences{
    std::pair{u"amp", u'&'},        std::pair{u"lt", u'<'},         std::pair{u"gt", u'>'},
    std::pair{u"quot", u'"'},       std::pair{u"apos", u'\''},      std::pair{u"nbsp", u' '},
    std::pair{u"ndash", u'\u2013'}, std::pair{u"mdash", u'\u2014'}, std::pair{u"hellip", u'\u2026'},
    std::pair{u"bull", u'\u2022'},  std::pair{u"lsquo", u'\u2018'}, std::pair{u"rsquo", u'\u2019'},
    std::pair{u"ldquo", u'\u201C'}, std::pair{u"rdquo", u'\u201D'},
};
constexpr qsizetype kLongestReference = 10;  // "#x10FFFF;" and one more

bool isOneOf(QStringView name, const auto& names) {
    return std::ranges::any_of(
        names, [name](const char16_t* other) { return name.compare(other, Qt::CaseInsensitive) == 0; });
}

// Those that turn the direction of what follows, or have no picture at all: a line with them may read as
// something that it is not.
bool isDeceptive(char32_t character) {
    return (character >= 0x200B && character <= 0x200F) || (character >= 0x202A && character <= 0x202E) ||
           (character >= 0x2060 && character <= 0x2069) || character == 0xFEFF || character == 0x061C ||
           character == 0x00AD || (character >= 0xE0000 && character <= 0xE007F) || character == 0xFFFC;
}

bool isTagStart(QStringView text, qsizetype place) {
    if (text[place] != u'<' || place + 1 >= text.size()) {
        return false;
    }
    const char16_t next = text[place + 1].unicode();
    return next == u'/' || next == u'!' || next == u'?' || (next >= u'a' && next <= u'z') ||
           (next >= u'A' && next <= u'Z');
}

// Writes words and lines: spaces are joined, no more than one line stays empty, nothing stands before or
// after.
class Writer {
public:
    explicit Writer(qsizetype limit) : limit_(limit) {}

    bool isFull() const { return text_.size() > limit_; }

    void put(char32_t character) {
        if (character == U'\n') {
            breakLine(1);
        } else if (QChar::isSpace(character)) {
            hasSpace_ = true;
        } else if (QChar::isPrint(character) && !isDeceptive(character)) {
            flush();
            text_ += QString::fromUcs4(&character, 1);
        }
    }
    // The next word stands that many lines below, at least.
    void breakLine(int lines) { lines_ = std::max(lines_, lines); }
    void addLine() { lines_ = std::min(lines_ + 1, 2); }

    QString text() const {
        if (!isFull()) {
            return text_;
        }
        qsizetype end = std::max<qsizetype>(limit_ - 1, 0);
        if (end > 0 && text_[end - 1].isHighSurrogate()) {
            --end;
        }
        return text_.first(end) + u'\u2026';
    }

private:
    void flush() {
        if (!text_.isEmpty()) {
            if (lines_ > 0) {
                text_ += QString(lines_, u'\n');
            } else if (hasSpace_) {
                text_ += u' ';
            }
        }
        lines_ = 0;
        hasSpace_ = false;
    }

    qsizetype limit_;
    QString text_;
    int lines_ = 0;
    bool hasSpace_ = false;
};

// One reading of a text, from its beginning to its end.
class Reading {
public:
    Reading(QStringView text, qsizetype limit) : text_(text), writer_(limit) {
        for (qsizetype place = 0; place < text.size() && !isMarkup_; ++place) {
            isMarkup_ = isTagStart(text, place);
        }
    }

    QString plain() {
        while (place_ < text_.size() && !writer_.isFull()) {
            if (isMarkup_ && isTagStart(text_, place_)) {
                readTag();
            } else if (isMarkup_ && text_[place_] == u'&') {
                readReference();
            } else {
                readCharacter();
            }
        }
        return writer_.text();
    }

private:
    void readCharacter() {
        const QChar unit = text_[place_++];
        if (unit.isHighSurrogate() && place_ < text_.size() && text_[place_].isLowSurrogate()) {
            writer_.put(QChar::surrogateToUcs4(unit, text_[place_++]));
        } else if (unit == u'\n' && isMarkup_) {
            writer_.put(U' ');  // in markup a line's end is a space
        } else if (unit == u'\n') {
            writer_.addLine();
        } else if (!unit.isSurrogate()) {
            writer_.put(unit.unicode());
        }
    }

    // Behind the tag that begins here; behind everything where it does not end.
    void readTag() {
        if (text_.mid(place_).startsWith(u"<!--")) {
            skipBehind(u"-->", place_ + 4);
            return;
        }
        const bool isEnd = text_[place_ + 1] == u'/';
        qsizetype end = place_ + (isEnd ? 2 : 1);
        const qsizetype begin = end;
        while (end < text_.size() && text_[end].isLetterOrNumber()) {
            ++end;
        }
        const QStringView name = text_.sliced(begin, end - begin);
        skipAttributes(end);
        if (isOneOf(name, kUnseen) && !isEnd) {
            skipElement(name);
        } else if (name.compare(u"br", Qt::CaseInsensitive) == 0) {
            writer_.addLine();
        } else if (isOneOf(name, kBlocks)) {
            const bool isItem = name.compare(u"li", Qt::CaseInsensitive) == 0;
            const bool standsApart =
                name.compare(u"p", Qt::CaseInsensitive) == 0 || name.startsWith(u'h', Qt::CaseInsensitive);
            writer_.breakLine(standsApart ? 2 : 1);
            if (isItem && !isEnd) {
                writer_.put(U'\u2022');
                writer_.put(U' ');
            }
        }
    }

    void skipAttributes(qsizetype from) {
        char16_t quote = 0;
        for (qsizetype place = from; place < text_.size(); ++place) {
            const char16_t unit = text_[place].unicode();
            if (quote != 0) {
                quote = unit == quote ? 0 : quote;
            } else if (unit == u'"' || unit == u'\'') {
                quote = unit;
            } else if (unit == u'>') {
                place_ = place + 1;
                return;
            }
        }
        place_ = text_.size();
    }

    void skipElement(QStringView name) {
        for (qsizetype place = place_;; ++place) {
            place = text_.indexOf(u"</", place);
            if (place < 0) {
                place_ = text_.size();
                return;
            }
            if (text_.mid(place + 2).startsWith(name, Qt::CaseInsensitive)) {
                skipAttributes(place + 2);
                return;
            }
        }
    }

    void skipBehind(QStringView end, qsizetype from) {
        const qsizetype place = from < text_.size() ? text_.indexOf(end, from) : -1;
        place_ = place < 0 ? text_.size() : place + end.size();
    }

    void readReference() {
        const QStringView ahead = text_.mid(place_ + 1, kLongestReference);
        const qsizetype length = ahead.indexOf(u';');
        const auto character = length < 0 ? std::nullopt : referredTo(ahead.first(length));
        if (character) {
            writer_.put(*character);
            place_ += length + 2;
        } else {
            readCharacter();
        }
    }

    static std::optional<char32_t> referredTo(QStringView reference) {
        if (reference.startsWith(u'#')) {
            const bool isHexadecimal = reference.mid(1).startsWith(u'x', Qt::CaseInsensitive);
            bool isNumber = false;
            const uint number =
                reference.mid(isHexadecimal ? 2 : 1).toUInt(&isNumber, isHexadecimal ? 16 : 10);
            const bool isCharacter =
                isNumber && number > 0 && number <= QChar::LastValidCodePoint && !QChar::isSurrogate(number);
            return isCharacter ? std::optional<char32_t>(number) : std::nullopt;
        }
        for (const auto& [name, character] : kReferences) {
            if (reference == QStringView(name)) {
                return character;
            }
        }
        return std::nullopt;
    }

    QStringView text_;
    Writer writer_;
    bool isMarkup_ = false;
    qsizetype place_ = 0;
};

}  // namespace

QString plainTextFromHTML(const QString& html, qsizetype limit) {
    return Reading(html, limit).plain();
}

QString plainLine(const QString& text, qsizetype limit) {
    Writer writer(limit);
    for (const uint character : text.toUcs4()) {
        if (writer.isFull()) {
            break;
        }
        writer.put(character == U'\n' ? U' ' : static_cast<char32_t>(character));
    }
    return writer.text();
}

}  // namespace larkfold

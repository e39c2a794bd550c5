// Texts from elsewhere, made into what a window may show: plain characters without markup, and without those
// that are not seen but change what is seen. Free functions, safe from any thread.
#pragma once

#include <QString>

namespace larkfold {

// The words of a text that may be HTML. Blocks and line breaks become lines, items of a list get a bullet,
// what is not shown (scripts, styles, comments) goes, and the usual character references become what they
// stand for. A text without a tag is taken as it stands. At most `limit` characters; a longer one ends with
// an ellipsis. Takes time and memory in proportion to the text, whatever stands in it.
QString plainTextFromHTML(const QString& html, qsizetype limit);

// The same for a text of one line.
QString plainLine(const QString& text, qsizetype limit);

}  // namespace larkfold

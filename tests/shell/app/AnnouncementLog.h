// What the announcements of a window say while this lives: an alert that appears, with its name. Offscreen
// there is no bridge to assistive technology; that such an appearance is an event for it is shown end to end.
#pragma once

#include <QAccessible>
#include <QObject>
#include <QQuickItem>
#include <QStringList>

namespace larkfold::test {

class AnnouncementLog {
public:
    explicit AnnouncementLog(QQuickItem* root) { listenBelow(root); }
    AnnouncementLog(const AnnouncementLog&) = delete;
    AnnouncementLog& operator=(const AnnouncementLog&) = delete;

    // How often that was said.
    qsizetype count(const QString& sentence) const { return said_.count(sentence); }

private:
    void listenBelow(QQuickItem* item) {
        if (item->objectName() == QStringLiteral("announcement")) {
            QObject::connect(item, &QQuickItem::visibleChanged, &context_, [this, item] { note(item); });
        }
        for (QQuickItem* child : item->childItems()) {
            listenBelow(child);
        }
    }
    void note(QQuickItem* item) {
        QAccessibleInterface* told = QAccessible::queryAccessibleInterface(item);
        if (item->isVisible() && told != nullptr && told->role() == QAccessible::AlertMessage) {
            said_ << told->text(QAccessible::Name);
        }
    }

    QObject context_;
    QStringList said_;
};

}  // namespace larkfold::test

// The words that name the system (platform/SystemWords.h), for views: qsTr("Open %1").arg(Words.settings).
// Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

#include "platform/SystemWords.h"

namespace larkfold {

class Words : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString computer READ computer CONSTANT)
    Q_PROPERTY(QString system READ system CONSTANT)
    Q_PROPERTY(QString fileManagerButton READ fileManagerButton CONSTANT)
    Q_PROPERTY(QString settings READ settings CONSTANT)
    Q_PROPERTY(QString commandKey READ commandKey CONSTANT)
    Q_PROPERTY(QString fileSystem READ fileSystem CONSTANT)

public:
    static QString computer() { return QString::fromUtf8(systemWords().computer); }
    static QString system() { return QString::fromUtf8(systemWords().system); }
    static QString fileManagerButton() { return QString::fromUtf8(systemWords().fileManagerButton); }
    static QString settings() { return QString::fromUtf8(systemWords().settings); }
    static QString commandKey() { return QString::fromUtf8(systemWords().commandKey); }
    // A shortcut as it stands in code, "Ctrl+Shift+F", in the words of the system.
    Q_INVOKABLE static QString keys(QString shortcut) {
        return shortcut.replace(QStringLiteral("Ctrl"), commandKey());
    }
    static QString fileSystem() { return QString::fromUtf8(systemWords().fileSystem); }
};

}  // namespace larkfold

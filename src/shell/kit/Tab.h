// One tab as the window's frame sees it. Each tab derives its own from it, which its page gets as `tab`; the
// frame knows no more of any of them than this. Main thread only.
//
// Who derives names it with its namespace, `public larkfold::Tab`: else the toolkit's registration of types
// does not find it, and views cannot be checked.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>

namespace larkfold {

class Tab : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window makes those there are.")
    // What is marked for removal here, in a line and in a few characters; empty where nothing is to be told.
    Q_PROPERTY(QString markedText READ markedText NOTIFY markedChanged)
    Q_PROPERTY(QString markedShortText READ markedShortText NOTIFY markedChanged)
    Q_PROPERTY(bool canReview READ canReview NOTIFY markedChanged)
    // Why it cannot be reviewed now, a sentence; empty where it can.
    Q_PROPERTY(QString whyNoReview READ whyNoReview NOTIFY markedChanged)
    // What the menu bar offers while it is on screen: a `Command` each, in the order of its menu.
    Q_PROPERTY(QVariantList commands READ commands CONSTANT)
    Q_PROPERTY(bool canGoBack READ canGoBack NOTIFY navigationChanged)

public:
    using QObject::QObject;

    // It comes on screen: chosen by the user, asked for by another tab, or at the start.
    virtual void appear() {}
    // What it shows, for the title of the window; empty where that is nothing in particular.
    virtual QString subject() const = 0;

    virtual QString markedText() const { return {}; }
    virtual QString markedShortText() const { return {}; }
    // Shows what is marked before anything is removed. Something is marked, and can be reviewed now:
    virtual bool canReview() const { return false; }
    virtual QString whyNoReview() const { return {}; }
    Q_INVOKABLE virtual void review() {}
    Q_INVOKABLE virtual void clearMarked() {}

    virtual QVariantList commands() { return {}; }

    virtual bool canGoBack() const { return false; }
    Q_INVOKABLE virtual void goBack() {}

signals:
    void subjectChanged();
    void markedChanged();
    void navigationChanged();
};

}  // namespace larkfold

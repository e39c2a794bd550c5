// How far one driver's removal is, as the strip above the page shows it. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

#include "shell/kit/Throttle.h"

namespace larkfold {

class RemovalRun;

class RemovalProgressPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window makes one for each driver.")
    // The tab whose page tells of it as well, and has a button to stop it.
    Q_PROPERTY(int tab READ tab CONSTANT)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY changed)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY changed)
    // "Moving to Trash: 12 of 340 items…"; empty where none is under way.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(double share READ share NOTIFY changed)

public:
    // `run` outlives it.
    RemovalProgressPresenter(int tab, RemovalRun& run, QObject* parent = nullptr);

    int tab() const { return tab_; }
    bool isRunning() const;
    bool canCancel() const;
    QString text() const;
    double share() const;  // 0 to 1
    Q_INVOKABLE void cancel();

signals:
    void changed();

private:
    int tab_;
    RemovalRun& run_;
    Throttle progress_;
};

}  // namespace larkfold

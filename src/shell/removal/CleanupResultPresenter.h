// The banner: what the latest removal came to. It stays until it is closed or a newer removal takes its
// place. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <optional>

#include "removal/CleanupOperation.h"

namespace larkfold {

class CleanupResultPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(bool isShown READ isShown NOTIFY latestCleanupChanged)
    // Whether every item succeeded.
    Q_PROPERTY(bool isComplete READ isComplete NOTIFY latestCleanupChanged)
    Q_PROPERTY(QString headline READ headline NOTIFY latestCleanupChanged)
    Q_PROPERTY(QString figures READ figures NOTIFY latestCleanupChanged)

public:
    using QObject::QObject;

    const std::optional<CleanupOperation>& latestCleanup() const { return latestCleanup_; }
    // A removal of nothing leaves no record, and says nothing.
    void show(const CleanupOperation& operation);
    Q_INVOKABLE void dismiss();

    bool isShown() const { return latestCleanup_.has_value(); }
    bool isComplete() const;
    QString headline() const;
    QString figures() const;

signals:
    void latestCleanupChanged();

private:
    std::optional<CleanupOperation> latestCleanup_;
};

}  // namespace larkfold

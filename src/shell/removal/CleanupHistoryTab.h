// The tab of past removals, as the window's frame sees it. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QString>

#include "shell/kit/Tab.h"
#include "shell/removal/CleanupHistoryModel.h"

namespace larkfold {

class CleanupHistoryTab : public larkfold::Tab {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(larkfold::CleanupHistoryModel* history READ history CONSTANT)

public:
    // `history` outlives it.
    explicit CleanupHistoryTab(CleanupHistoryModel& history, QObject* parent = nullptr)
        : Tab(parent), history_(history) {}

    CleanupHistoryModel* history() { return &history_; }
    // What the store holds is read anew each time.
    void appear() override { history_.load(); }
    QString subject() const override { return tr("Cleanup History"); }

private:
    CleanupHistoryModel& history_;
};

}  // namespace larkfold

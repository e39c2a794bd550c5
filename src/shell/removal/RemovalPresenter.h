// What the window shows of removals, whichever driver runs them: the review before one, how far it is, the
// banner after it, the history, and what an interrupted one left. Drivers are attached to it; it knows none
// of them.
//
// Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QVariantList>
#include <functional>
#include <string>

#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "shell/removal/CleanupHistoryModel.h"
#include "shell/removal/CleanupResultPresenter.h"
#include "shell/removal/CleanupReviewModel.h"
#include "shell/removal/InterruptedRemovalModel.h"
#include "shell/removal/RemovalProgressPresenter.h"

namespace larkfold {

class RemovalRun;
class ReviewRequest;

class RemovalPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(larkfold::CleanupReviewModel* review READ review CONSTANT)
    Q_PROPERTY(larkfold::CleanupResultPresenter* result READ result CONSTANT)
    Q_PROPERTY(larkfold::CleanupHistoryModel* history READ history CONSTANT)
    Q_PROPERTY(larkfold::InterruptedRemovalModel* interrupted READ interrupted CONSTANT)
    // One for each driver that was attached with its run.
    Q_PROPERTY(QVariantList runs READ runs NOTIFY runsChanged)

public:
    // What it is given. References outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        NotificationCenter& notifications;
        CleanupHistoryStore& store;
        // Shows an item in the file manager; null: the desktop's.
        std::function<void(const std::string&, std::function<void(bool)>)> reveal = nullptr;
    };

    explicit RemovalPresenter(Dependencies dependencies, QObject* parent = nullptr);

    CleanupReviewModel* review() { return &review_; }
    CleanupResultPresenter* result() { return &result_; }
    CleanupHistoryModel* history() { return &history_; }
    InterruptedRemovalModel* interrupted() { return &interrupted_; }
    const QVariantList& runs() const { return runs_; }

    // The reviews and removals of a driver, which outlives it, and the tab whose page has a button to stop
    // them. The second one is for a driver that calls the gate by itself and tells of its records by `show`.
    void attach(int tab, RemovalRun& run, ReviewRequest& request);
    void attach(ReviewRequest& request);
    void show(const CleanupOperation& operation) { result_.show(operation); }
    // The banner's button: the history, with what the banner tells of open.
    Q_INVOKABLE void showHistory();
    // Looks for what a removal that was interrupted left. Once, at the start.
    void recover() { interrupted_.recover(); }

signals:
    void runsChanged();
    void historyWanted();

private:
    void makeRoomFor(const ReviewRequest& request);

    CleanupReviewModel review_;
    CleanupResultPresenter result_;
    CleanupHistoryModel history_;
    InterruptedRemovalModel interrupted_;
    QVariantList runs_;
    ReviewRequest* shown_ =
        nullptr;  // whose review the sheet shows or prepares; attached, so it outlives this
};

}  // namespace larkfold

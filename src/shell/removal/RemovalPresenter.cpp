#include "shell/removal/RemovalPresenter.h"

#include <utility>

#include "removal/RemovalRun.h"
#include "removal/ReviewRequest.h"

namespace larkfold {

RemovalPresenter::RemovalPresenter(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      review_(RunningApplication::current, dependencies.reveal),
      history_({.mainQueue = dependencies.mainQueue,
                .notifications = dependencies.notifications,
                .store = dependencies.store,
                .reveal = dependencies.reveal}),
      interrupted_(
          {.mainQueue = dependencies.mainQueue, .store = dependencies.store, .reveal = dependencies.reveal}) {
    connect(&interrupted_, &InterruptedRemovalModel::problemsFound, &history_,
            &CleanupHistoryModel::setJournalProblem);
    // The driver hears of it, whoever closes the sheet.
    connect(&review_, &CleanupReviewModel::isOpenChanged, this, [this] {
        if (!review_.isOpen() && shown_ != nullptr) {
            std::exchange(shown_, nullptr)->close();
        }
    });
}

void RemovalPresenter::attach(int tab, RemovalRun& run, ReviewRequest& request) {
    attach(request);
    runs_.append(QVariant::fromValue(new RemovalProgressPresenter(tab, run, this)));
    emit runsChanged();
    connect(&run, &RemovalRun::finished, this, &RemovalPresenter::show);
}

void RemovalPresenter::attach(ReviewRequest& request) {
    connect(&request, &ReviewRequest::preparing, this, [this, &request] {
        makeRoomFor(request);
        review_.prepare();
        shown_ = &request;
    });
    connect(&request, &ReviewRequest::progressChanged, this, [this, &request] {
        if (shown_ == &request) {
            const auto& progress = request.progress();
            review_.setProgress(progress.checked, progress.total, progress.awaited);
        }
    });
    connect(&request, &ReviewRequest::proposed, this,
            [this, &request](const ReviewRequest::Proposal& proposal) {
                makeRoomFor(request);
                review_.open(proposal.shown, proposal.options, proposal.onConfirm, proposal.drop);
                shown_ = &request;
            });
    connect(&request, &ReviewRequest::closed, this, [this, &request] {
        if (shown_ == &request) {
            shown_ = nullptr;
            review_.cancel();
        }
    });
}

// The sheet has one review: that of another driver is cancelled, and the driver hears of it.
void RemovalPresenter::makeRoomFor(const ReviewRequest& request) {
    ReviewRequest* before = std::exchange(shown_, nullptr);
    if (before != nullptr && before != &request) {
        review_.cancel();
        before->close();
    }
}

void RemovalPresenter::showHistory() {
    if (result_.latestCleanup()) {
        history_.expand(result_.latestCleanup()->id);
    }
    emit historyWanted();
}

}  // namespace larkfold

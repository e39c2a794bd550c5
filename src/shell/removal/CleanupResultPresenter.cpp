#include "shell/removal/CleanupResultPresenter.h"

#include "removal/CleanupTexts.h"

namespace larkfold {

void CleanupResultPresenter::show(const CleanupOperation& operation) {
    if (operation.items.empty()) {
        return;
    }
    latestCleanup_ = operation;
    emit latestCleanupChanged();
}

void CleanupResultPresenter::dismiss() {
    if (latestCleanup_) {
        latestCleanup_.reset();
        emit latestCleanupChanged();
    }
}

bool CleanupResultPresenter::isComplete() const {
    return latestCleanup_ && cleanup_texts::isComplete(*latestCleanup_);
}

QString CleanupResultPresenter::headline() const {
    return latestCleanup_ ? QString::fromStdString(cleanup_texts::bannerHeadline(*latestCleanup_))
                          : QString();
}

QString CleanupResultPresenter::figures() const {
    return latestCleanup_ ? QString::fromStdString(cleanup_texts::bannerFigures(*latestCleanup_)) : QString();
}

}  // namespace larkfold

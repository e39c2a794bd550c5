#include "removal/ReviewRequest.h"

#include <utility>

namespace larkfold {

void ReviewRequest::prepare() {
    isOpen_ = true;
    progress_ = {};
    emit preparing();
}

void ReviewRequest::setProgress(Progress progress) {
    if (isOpen_ && progress != progress_) {
        progress_ = std::move(progress);
        emit progressChanged();
    }
}

void ReviewRequest::propose(Proposal proposal) {
    isOpen_ = true;
    emit proposed(proposal);
}

void ReviewRequest::close() {
    if (isOpen_) {
        isOpen_ = false;
        emit closed();
    }
}

}  // namespace larkfold

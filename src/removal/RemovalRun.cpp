#include "removal/RemovalRun.h"

#include <QPointer>
#include <memory>

namespace larkfold {

RemovalRun::Gate RemovalRun::gateWith(CleanupHistoryStore* history) {
    // Kept by the work that uses it.
    return [deleter = std::make_shared<FileDeleter>(history)](
               const FileDeleter::Request& request, const FileDeleter::Progress& progress,
               std::stop_token stop) { return deleter->deleteItems(request, progress, std::move(stop)); };
}

RemovalRun::RemovalRun(MainQueue& mainQueue, Gate gate, QObject* parent)
    : QObject(parent),
      gate_(std::move(gate)),
      reports_(mainQueue,
               [run = QPointer(this)](const Progress& progress) {
                   if (run && run->isRunning_) {
                       run->takeProgress(progress);
                   }
               }),
      context_(mainQueue, "removal") {}

RemovalRun::~RemovalRun() {
    run_.drop();
}

void RemovalRun::start(const Progress& progress) {
    takeProgress(progress);
    setState(true, false);
}

void RemovalRun::cancel() {
    if (isRunning_) {
        run_.cancel();
        setState(true, true);
    }
}

void RemovalRun::end() {
    setState(false, false);
}

void RemovalRun::end(const CleanupOperation& operation) {
    end();
    emit finished(operation);
}

void RemovalRun::takeProgress(const Progress& progress) {
    if (progress != progress_) {
        progress_ = progress;
        emit progressChanged();
    }
}

void RemovalRun::setState(bool running, bool stopping) {
    if (running != isRunning_ || stopping != isStopping_) {
        isRunning_ = running;
        isStopping_ = stopping;
        emit stateChanged();
    }
}

}  // namespace larkfold

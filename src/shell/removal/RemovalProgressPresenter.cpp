#include "shell/removal/RemovalProgressPresenter.h"

#include <chrono>

#include "removal/CleanupTexts.h"
#include "removal/RemovalRun.h"

namespace larkfold {

namespace {

// Reports come hundreds of times a second; nobody reads faster than this, and each costs a layout of the
// texts.
constexpr std::chrono::milliseconds kInterval{100};

}  // namespace

RemovalProgressPresenter::RemovalProgressPresenter(int tab, RemovalRun& run, QObject* parent)
    : QObject(parent), tab_(tab), run_(run), progress_(kInterval, [this] { emit changed(); }) {
    connect(&run_, &RemovalRun::stateChanged, this, &RemovalProgressPresenter::changed);
    connect(&run_, &RemovalRun::progressChanged, this, [this] { progress_.note(); });
}

bool RemovalProgressPresenter::isRunning() const {
    return run_.isRunning();
}

bool RemovalProgressPresenter::canCancel() const {
    return run_.isRunning() && !run_.isStopping();
}

QString RemovalProgressPresenter::text() const {
    if (!run_.isRunning()) {
        return {};
    }
    const auto& progress = run_.progress();
    return QString::fromStdString(
        run_.isStopping()
            ? cleanup_texts::removalStopping()
            : cleanup_texts::removalUnderWay(progress.isPermanent, progress.completed, progress.total));
}

double RemovalProgressPresenter::share() const {
    const auto& progress = run_.progress();
    return run_.isRunning() && progress.total > 0
               ? static_cast<double>(progress.completed) / static_cast<double>(progress.total)
               : 0;
}

void RemovalProgressPresenter::cancel() {
    run_.cancel();
}

}  // namespace larkfold

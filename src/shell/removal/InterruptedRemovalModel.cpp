#include "shell/removal/InterruptedRemovalModel.h"

#include <QStringList>
#include <exception>
#include <optional>
#include <utility>

#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"

namespace larkfold {

namespace {

QString fromUTF8(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

}  // namespace

InterruptedRemovalModel::InterruptedRemovalModel(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      actions_(dependencies_.reveal),
      context_(dependencies_.mainQueue, "interrupted") {}

InterruptedRemovalModel::~InterruptedRemovalModel() = default;

void InterruptedRemovalModel::recover() {
    recoverRun_ = context_.run<RemovalRecovery::Report>(
        [store = &dependencies_.store](const std::stop_token& stop) {
            return RemovalRecovery(*store).recover(stop);
        },
        [this](Outcome<RemovalRecovery::Report> outcome) {
            try {
                take(std::move(outcome.get()));
            } catch (const std::exception& error) {
                emit problemsFound(QString::fromUtf8(error.what()));
            }
        });
}

void InterruptedRemovalModel::take(RemovalRecovery::Report report) {
    if (!report.problems.empty()) {
        QStringList sentences;
        for (const std::string& problem : report.problems) {
            sentences << fromUTF8(problem);
        }
        emit problemsFound(sentences.join(QLatin1Char('\n')));
    }
    leftovers_ = std::move(report.leftovers);
    if (!leftovers_.empty()) {
        show(Stage::asking);
    }
}

const RemovalRecovery::Leftover* InterruptedRemovalModel::current() const {
    return index_ < leftovers_.size() ? &leftovers_[index_] : nullptr;
}

QString InterruptedRemovalModel::title() const {
    return fromUTF8(isAsking()     ? cleanup_texts::asideTitle()
                    : isRestored() ? cleanup_texts::asideRestoredTitle()
                                   : cleanup_texts::asideNotRestoredTitle());
}

QString InterruptedRemovalModel::text() const {
    const RemovalRecovery::Leftover* leftover = current();
    if (leftover == nullptr) {
        return {};
    }
    if (isAsking()) {
        return fromUTF8(cleanup_texts::asideText(leftover->item.originalPath, leftover->maybePart));
    }
    return isRestored_ ? fromUTF8(cleanup_texts::asideRestored(leftover->item.originalPath)) : problem_;
}

QString InterruptedRemovalModel::place() const {
    const RemovalRecovery::Leftover* leftover = current();
    return leftover == nullptr || !isAsking() ? QString()
                                              : fromUTF8(cleanup_texts::asidePlace(leftover->item.path));
}

void InterruptedRemovalModel::restore() {
    const RemovalRecovery::Leftover* leftover = current();
    if (leftover == nullptr || !isAsking()) {
        return;
    }
    show(Stage::restoring);
    restoreRun_ = context_.run<std::optional<std::string>>(
        [store = &dependencies_.store, leftover = *leftover](std::stop_token) {
            return RemovalRecovery(*store).restore(leftover);
        },
        [this](Outcome<std::optional<std::string>> outcome) {
            try {
                const auto problem = outcome.get();
                finishRestoring(problem ? fromUTF8(*problem) : QString());
            } catch (const std::exception& error) {
                finishRestoring(QString::fromUtf8(error.what()));
            }
        });
}

void InterruptedRemovalModel::finishRestoring(const QString& problem) {
    problem_ = problem;
    isRestored_ = problem.isEmpty();
    show(Stage::told);
}

void InterruptedRemovalModel::leave() {
    if (!isAsking() && !isTold()) {
        return;
    }
    ++index_;
    isRestored_ = false;
    problem_.clear();
    // The view closes with each decision, and opens for the next item.
    show(Stage::closed);
    if (current() != nullptr) {
        show(Stage::asking);
    }
}

void InterruptedRemovalModel::reveal() {
    const RemovalRecovery::Leftover* leftover = current();
    if (leftover == nullptr) {
        return;
    }
    const auto tell = [this](const QString& problem) {
        revealProblem_ = problem;
        emit changed();
    };
    actions_.reveal(isRestored_ ? leftover->item.originalPath : leftover->item.path, tell,
                    QStringLiteral("It is still at “%1”."));
}

void InterruptedRemovalModel::show(Stage stage) {
    stage_ = stage;
    revealProblem_.clear();
    emit changed();
}

}  // namespace larkfold

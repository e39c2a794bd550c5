// What the program finds at its start of removals that did not come to their end: it brings them into the
// history, off the main thread, and asks about each item that lies aside whether it is to come back.
//
// One item is asked about at a time: a run has at most one under way. What the user leaves is asked about
// again at the next start. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <cstddef>
#include <vector>

#include "platform/SerialContext.h"
#include "removal/RemovalRecovery.h"
#include "shell/kit/PathActions.h"

namespace larkfold {

class CleanupHistoryStore;

class InterruptedRemovalModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    // The user has not decided yet.
    Q_PROPERTY(bool isAsking READ isAsking NOTIFY changed)
    // What came of bringing the item back is told.
    Q_PROPERTY(bool isTold READ isTold NOTIFY changed)
    Q_PROPERTY(bool isRestored READ isRestored NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    // Where it lies now.
    Q_PROPERTY(QString place READ place NOTIFY changed)
    // Why it could not be shown in the file manager; empty where nothing failed.
    Q_PROPERTY(QString revealProblem READ revealProblem NOTIFY changed)

public:
    // What it is given. The store and the queue outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        CleanupHistoryStore& store;
        // Shows an item in the file manager; absent: the desktop's.
        PathActions::Program reveal = nullptr;
    };

    explicit InterruptedRemovalModel(Dependencies dependencies, QObject* parent = nullptr);
    ~InterruptedRemovalModel() override;

    // Looks for what was left. Once, at the start.
    void recover();

    bool isAsking() const { return stage_ == Stage::asking; }
    bool isTold() const { return stage_ == Stage::told; }
    bool isRestored() const { return isRestored_; }
    QString title() const;
    QString text() const;
    QString place() const;
    QString revealProblem() const { return revealProblem_; }

    Q_INVOKABLE void restore();
    // The item stays where it lies. Also closes what is told after a decision.
    Q_INVOKABLE void leave();
    Q_INVOKABLE void reveal();

signals:
    void changed();
    // A sentence for each journal that could not be brought into the history.
    void problemsFound(const QString& sentences);

private:
    enum class Stage { closed, asking, restoring, told };

    const RemovalRecovery::Leftover* current() const;
    void take(RemovalRecovery::Report report);
    void finishRestoring(const QString& problem);
    void show(Stage stage);

    Dependencies dependencies_;
    std::vector<RemovalRecovery::Leftover> leftovers_;
    std::size_t index_ = 0;  // of the one that is asked about
    Stage stage_ = Stage::closed;
    bool isRestored_ = false;
    QString problem_;
    QString revealProblem_;
    PathActions actions_;
    SerialContext context_;
    Run recoverRun_;
    Run restoreRun_;  // last: their ends drop the work before anything that it reports to
};

}  // namespace larkfold

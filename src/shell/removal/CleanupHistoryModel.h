// The screen of past removals: the operations that the store holds, newest first, and below each open one its
// items. It restores nothing: it tells where an item is and how to get it back.
//
// What the store holds is read on a serial context, each time the screen appears and whenever the store tells
// of a change. A failure leaves the rows as they are. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QString>
#include <set>
#include <string>
#include <vector>

#include "platform/NotificationCenter.h"
#include "platform/SerialContext.h"
#include "platform/UUID.h"
#include "removal/CleanupOperation.h"
#include "shell/kit/PathActions.h"
#include "shell/kit/SectionListModel.h"

namespace larkfold {

class CleanupHistoryStore;

// The base by its full name: the checker of the views knows it by no other.
class CleanupHistoryModel : public larkfold::SectionListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(bool hasOperations READ hasOperations NOTIFY operationsChanged)
    // Nothing was read yet.
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY stateChanged)
    // The history was read, and holds nothing.
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY stateChanged)
    Q_PROPERTY(QString error READ error NOTIFY stateChanged)
    // What the failure did not harm, and what to do; empty where the failure says it itself.
    Q_PROPERTY(QString errorHint READ errorHint NOTIFY stateChanged)
    // Whether reading it failed, so that reading it once more may help.
    Q_PROPERTY(bool isUnreadable READ isUnreadable NOTIFY stateChanged)
    // Why a removal that was interrupted is missing here; empty where none is.
    Q_PROPERTY(QString journalProblem READ journalProblem NOTIFY stateChanged)
    // What came of the last action on a row, where it is no failure.
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)
    Q_PROPERTY(bool canClear READ canClear NOTIFY stateChanged)
    Q_PROPERTY(bool clearConfirmation READ clearConfirmation WRITE setClearConfirmation NOTIFY
                   clearConfirmationChanged)
    Q_PROPERTY(QString restoreHelp READ restoreHelp CONSTANT)

public:
    // What a row is. `Help` stands once below an open operation that has something in Trash.
    enum Kind { Operation, Help, Item };
    Q_ENUM(Kind)
    enum Role {
        KindRole = FirstRoleOfItsOwn,
        TitleRole,  // the source, or the original path
        DateRole,   // of an operation
        TextRole,   // the line of figures, or what became of the item
        IsFailureRole,
        CanLocateRole,  // of an item with a place in Trash
        SizeTextRole,   // of an item: how much it was; empty where that was not measured, and for all else
        SpokenTextRole,
    };

    // What the screen is given. The store and the queue outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        NotificationCenter& notifications;
        CleanupHistoryStore& store;
        // Shows an item in the file manager; absent: the desktop's.
        PathActions::Program reveal = nullptr;
    };

    explicit CleanupHistoryModel(Dependencies dependencies, QObject* parent = nullptr);
    ~CleanupHistoryModel() override;

    const std::vector<CleanupOperation>& operations() const { return operations_; }
    bool hasOperations() const { return !operations_.empty(); }
    bool isLoading() const { return !hasAnswer_; }
    bool isEmpty() const { return isRead_ && operations_.empty(); }
    QString error() const { return error_; }
    QString errorHint() const { return errorHint_; }
    bool isUnreadable() const { return isUnreadable_; }
    bool canClear() const { return hasOperations() || isUnreadable_ || !journalProblem_.isEmpty(); }
    bool clearConfirmation() const { return clearConfirmation_; }
    void setClearConfirmation(bool shown);
    static QString restoreHelp();

    // The screen appears, or the user wants to try again.
    Q_INVOKABLE void load();
    bool isExpanded(const UUID& operation) const { return expanded_.contains(operation); }
    // Opens an operation as soon as it is there.
    void expand(const UUID& operation);
    // Selects the item in the file manager, where it still is.
    Q_INVOKABLE void locateInTrash(int row);
    // The second press of "Clear history".
    Q_INVOKABLE void clear();
    Q_INVOKABLE void dismissError();
    QString journalProblem() const { return journalProblem_; }
    void setJournalProblem(const QString& sentences);
    Q_INVOKABLE void dismissJournalProblem() { setJournalProblem({}); }
    // The original path of an item.
    Q_INVOKABLE void copyPath(int row);
    QString notice() const { return notice_; }
    Q_INVOKABLE void dismissNotice() { setNotice({}); }

signals:
    void operationsChanged();
    void noticeChanged();
    void stateChanged();
    void clearConfirmationChanged();

protected:
    QVariant dataOfHeader(int section, int role) const override;
    QVariant dataOfItem(int section, int item, int role) const override;
    QHash<int, QByteArray> rolesOfItsOwn() const override;
    void noteOpened(int section, bool isOpen) override;

private:
    const CleanupOperation& operationAt(int section) const;
    int helpRowsOf(int section) const;
    const CleanupOperation::Item* itemOf(int row) const;
    void take(std::vector<CleanupOperation> operations);
    void setError(const QString& text, const QString& hint = {});
    void setNotice(const QString& text);
    void failToRead(const std::exception_ptr& failure);
    void reveal(const std::string& path);
    QVariant dataOfHelp(int role) const;
    QVariant dataOfRecord(const CleanupOperation& operation, const CleanupOperation::Item& item,
                          int role) const;

    Dependencies dependencies_;
    std::vector<CleanupOperation> operations_;
    std::set<UUID> expanded_;
    QString error_;
    QString errorHint_;
    QString journalProblem_;
    QString notice_;
    bool hasAnswer_ = false;
    bool isRead_ = false;
    bool isUnreadable_ = false;
    bool clearConfirmation_ = false;
    PathActions actions_;
    NotificationCenter::Observation observation_;
    SerialContext context_;
    Run loadRun_;
    Run clearRun_;
    Run locateRun_;  // last: their ends drop the work before anything that it reports to
};

}  // namespace larkfold

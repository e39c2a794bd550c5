// The review sheet: the rows of what would go, and what the user decides about them.
//
// There is one, opened anew for each proposal, and it acts only through the function that came with the
// proposal. While a proposal is being prepared it shows how far that is, and can only be cancelled; where
// that takes no time to speak of, it opens with the list. Rows are worded when they are asked for, so that a
// list of any length opens at once. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "removal/CleanupReview.h"
#include "removal/RunningApplication.h"
#include "shell/kit/PathActions.h"

namespace larkfold {

class CleanupReviewModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(bool isPreparing READ isPreparing NOTIFY isPreparingChanged)
    Q_PROPERTY(QString preparingText READ preparingText CONSTANT)
    Q_PROPERTY(QString checkedText READ checkedText NOTIFY preparingProgressChanged)
    Q_PROPERTY(QString awaitedText READ awaitedText NOTIFY preparingProgressChanged)
    Q_PROPERTY(double preparedShare READ preparedShare NOTIFY preparingProgressChanged)
    Q_PROPERTY(QString noticeText READ noticeText NOTIFY isOpenChanged)
    Q_PROPERTY(int count READ count NOTIFY shownChanged)
    Q_PROPERTY(QString summaryText READ summaryText NOTIFY shownChanged)
    // Whether an item can be taken out of the list, which its driver then does not remove.
    Q_PROPERTY(bool canDrop READ canDrop NOTIFY isOpenChanged)
    // What came of the last action on a row; empty where there is nothing to tell.
    Q_PROPERTY(QString actionText READ actionText NOTIFY actionTextChanged)
    Q_PROPERTY(bool allowsPermanentDeletion READ allowsPermanentDeletion NOTIFY isOpenChanged)
    Q_PROPERTY(bool permanent READ isPermanent WRITE setPermanent NOTIFY decisionChanged)
    Q_PROPERTY(bool showPermanentConfirmation READ showPermanentConfirmation NOTIFY decisionChanged)
    Q_PROPERTY(QString noteText READ noteText NOTIFY decisionChanged)
    Q_PROPERTY(QString confirmText READ confirmText NOTIFY decisionChanged)
    Q_PROPERTY(QString permanentConfirmationTitle READ permanentConfirmationTitle NOTIFY shownChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        RiskRole,
        IsSafeRole,  // the label "Safe", shown quietly
        SizeTextRole,
        PathRole,
        ReasonRole,
        KeeperTextRole,     // empty where there is no copy that stays
        RunningTextRole,    // empty where no running application holds the item back
        UncheckedTextRole,  // empty where the item could be checked beforehand
        IconNameRole,
        SpokenTextRole,  // the row for a screen reader
    };
    using RunningApplications = std::function<std::vector<RunningApplication>()>;
    // Takes an item out of what is proposed, by its path; what is shown from then on.
    using Drop = std::function<CleanupReview::ShownPointer(const std::string& url)>;

    // `revealer`: shows an item in the file manager; absent: the desktop's.
    explicit CleanupReviewModel(RunningApplications running = RunningApplication::current,
                                PathActions::Program revealer = nullptr, QObject* parent = nullptr);

    // A proposal is being prepared: shows that if it lasts. A proposal that is still open is cancelled.
    void prepare();
    // Of `total` items so many are prepared, and the disk is asked for that path.
    void setProgress(std::int64_t checked, std::int64_t total, const std::string& awaited);

    // Shows the proposal. `onConfirm` is called at most once, with whether the removal is permanent, after
    // the sheet has closed. Without `drop` the list is taken or left as a whole. A proposal that is still
    // open is cancelled.
    void open(CleanupReview::ShownPointer shown, CleanupReview::Options options,
              std::function<void(bool permanently)> onConfirm, Drop drop = nullptr);
    void open(std::vector<CleanupPreviewItem> items, CleanupReview::Options options,
              std::function<void(bool permanently)> onConfirm);
    // Closes without a decision.
    Q_INVOKABLE void cancel();

    bool isOpen() const { return isOpen_; }
    bool isPreparing() const { return isPreparing_; }
    static QString preparingText();
    QString checkedText() const;
    QString awaitedText() const;  // empty where nothing is waited for
    double preparedShare() const;
    QString noticeText() const;
    int count() const { return static_cast<int>(review_.shownCount()); }
    QString summaryText() const;
    bool allowsPermanentDeletion() const { return review_.allowsPermanentDeletion(); }
    bool isPermanent() const { return review_.isPermanent(); }
    void setPermanent(bool permanent);
    bool showPermanentConfirmation() const { return review_.showsPermanentConfirmation(); }
    QString noteText() const;
    QString confirmText() const;
    QString permanentConfirmationTitle() const;

    // The main button, and the buttons of the second decision.
    Q_INVOKABLE void confirm();
    Q_INVOKABLE void confirmPermanentDeletion();
    Q_INVOKABLE void cancelPermanentConfirmation();
    Q_INVOKABLE void copyPath(int row) const;
    // Takes the item out of the list and of what will be removed. Nothing happens to it. Not while the second
    // decision is asked for, whose number would change under the user's eyes.
    Q_INVOKABLE void drop(int row);
    bool canDrop() const { return drop_ != nullptr; }
    // Shows the item in the file manager.
    Q_INVOKABLE void reveal(int row);
    QString actionText() const { return actionText_; }
    Q_INVOKABLE void dismissActionText();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void isOpenChanged();
    void isPreparingChanged();
    void preparingProgressChanged();
    void decisionChanged();
    void shownChanged();
    void actionTextChanged();
    // What came of something the user did; also the same sentence once more.
    void told(const QString& sentence);

private:
    void setPreparing(bool preparing);
    void show(CleanupReview review);
    void close(CleanupReview::Decision decision);
    QString spokenText(const CleanupPreviewItem& item) const;
    void tell(const QString& sentence);
    bool isRow(int row) const { return isOpen_ && !isPreparing_ && row >= 0 && row < count(); }

    RunningApplications runningApplications_;
    CleanupReview review_;
    std::function<void(bool)> onConfirm_;
    Drop drop_;
    QString actionText_;
    PathActions actions_;
    bool isOpen_ = false;
    bool isPreparing_ = false;
    std::int64_t checked_ = 0;
    std::int64_t total_ = 0;
    std::string awaited_;
    QTimer patience_;
};

}  // namespace larkfold

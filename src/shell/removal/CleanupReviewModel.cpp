#include "shell/removal/CleanupReviewModel.h"

#include <QStringList>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <utility>

#include "disk/FileKind.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Path.h"
#include "platform/qt/PathText.h"
#include "removal/CleanupTexts.h"
#include "shell/kit/FileKindIcons.h"
#include "shell/kit/PathActions.h"

namespace larkfold {

namespace {

// For how long nothing is shown of a preparation: most have ended by then.
constexpr std::chrono::milliseconds kPatience{150};

QString iconName(const CleanupPreviewItem& item) {
    return item.isFolder ? QStringLiteral("folder") : iconNameOf(fileKindOf(item.url));
}

}  // namespace

CleanupReviewModel::CleanupReviewModel(RunningApplications running, PathActions::Program revealer,
                                       QObject* parent)
    : QAbstractListModel(parent), runningApplications_(std::move(running)), actions_(std::move(revealer)) {
    connect(this, &CleanupReviewModel::isOpenChanged, this, &CleanupReviewModel::shownChanged);
    patience_.setInterval(kPatience);
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, [this] {
        isOpen_ = true;
        emit isOpenChanged();
    });
}

void CleanupReviewModel::prepare() {
    cancel();
    show({});
    checked_ = 0;
    total_ = 0;
    awaited_.clear();
    setPreparing(true);
    emit preparingProgressChanged();
    patience_.start();
}

void CleanupReviewModel::setPreparing(bool preparing) {
    patience_.stop();
    if (preparing != isPreparing_) {
        isPreparing_ = preparing;
        emit isPreparingChanged();
    }
}

void CleanupReviewModel::setProgress(std::int64_t checked, std::int64_t total, const std::string& awaited) {
    checked_ = checked;
    total_ = total;
    awaited_ = awaited;
    emit preparingProgressChanged();
}

QString CleanupReviewModel::preparingText() {
    return QString::fromStdString(cleanup_texts::preparingReview());
}

QString CleanupReviewModel::checkedText() const {
    return QString::fromStdString(cleanup_texts::checkedSoFar(checked_, total_));
}

QString CleanupReviewModel::awaitedText() const {
    return awaited_.empty() ? QString() : QString::fromStdString(cleanup_texts::waitingFor(awaited_));
}

double CleanupReviewModel::preparedShare() const {
    return total_ > 0 ? static_cast<double>(checked_) / static_cast<double>(total_) : 0;
}

QString CleanupReviewModel::noticeText() const {
    return QString::fromStdString(review_.notice());
}

void CleanupReviewModel::show(CleanupReview review) {
    beginResetModel();
    review_ = std::move(review);
    endResetModel();
    emit decisionChanged();
}

void CleanupReviewModel::open(std::vector<CleanupPreviewItem> items, CleanupReview::Options options,
                              std::function<void(bool)> onConfirm) {
    open(CleanupReview::shownOf(std::move(items)), std::move(options), std::move(onConfirm));
}

void CleanupReviewModel::open(CleanupReview::ShownPointer shown, CleanupReview::Options options,
                              std::function<void(bool)> onConfirm, Drop drop) {
    if (isPreparing_) {
        setPreparing(false);
    } else {
        cancel();
    }
    // Listed once, as the sheet appears; the gate looks again.
    auto running = options.protectRunningApplications && runningApplications_
                       ? runningApplications_()
                       : std::vector<RunningApplication>();
    show(CleanupReview(std::move(shown), std::move(options), std::move(running)));
    onConfirm_ = std::move(onConfirm);
    drop_ = std::move(drop);
    isOpen_ = true;
    emit isOpenChanged();
}

void CleanupReviewModel::cancel() {
    close(CleanupReview::Decision::none);
}

void CleanupReviewModel::close(CleanupReview::Decision decision) {
    setPreparing(false);
    if (!isOpen_) {
        return;
    }
    const auto onConfirm = std::exchange(onConfirm_, nullptr);
    drop_ = nullptr;
    isOpen_ = false;
    review_.cancelPermanentConfirmation();
    dismissActionText();
    emit decisionChanged();
    emit isOpenChanged();
    if (decision != CleanupReview::Decision::none && onConfirm) {
        onConfirm(decision == CleanupReview::Decision::permanent);
    }
}

QString CleanupReviewModel::summaryText() const {
    return QString::fromStdString(review_.summaryText());
}

void CleanupReviewModel::setPermanent(bool permanent) {
    if (permanent != review_.isPermanent()) {
        review_.setPermanent(permanent);
        emit decisionChanged();
    }
}

QString CleanupReviewModel::noteText() const {
    return QString::fromStdString(review_.noteText());
}

QString CleanupReviewModel::confirmText() const {
    return QString::fromStdString(review_.confirmText());
}

QString CleanupReviewModel::permanentConfirmationTitle() const {
    return QString::fromStdString(review_.permanentConfirmationTitle());
}

void CleanupReviewModel::confirm() {
    if (!isOpen_) {
        return;
    }
    const auto decision = review_.pressConfirm();
    if (decision != CleanupReview::Decision::none) {
        close(decision);
    } else {
        emit decisionChanged();
    }
}

void CleanupReviewModel::confirmPermanentDeletion() {
    const auto decision = review_.confirmPermanentDeletion();
    if (decision != CleanupReview::Decision::none) {
        close(decision);
    }
}

void CleanupReviewModel::cancelPermanentConfirmation() {
    if (review_.showsPermanentConfirmation()) {
        review_.cancelPermanentConfirmation();
        emit decisionChanged();
    }
}

void CleanupReviewModel::copyPath(int row) const {
    if (row < 0 || row >= count()) {
        return;
    }
    PathActions::copy(review_.shownItems()[static_cast<std::size_t>(row)].url);
}

void CleanupReviewModel::drop(int row) {
    if (!isRow(row) || !drop_ || showPermanentConfirmation()) {
        return;
    }
    const auto before = static_cast<std::size_t>(row);
    const std::string url = review_.shownItems()[before].url;
    CleanupReview::ShownPointer rest = drop_(url);
    const auto isGone = [&] {
        const auto& items = review_.shownItems();
        const auto& left = rest->items;
        const auto isSame = [](const CleanupPreviewItem& one, const CleanupPreviewItem& other) {
            return one.url == other.url;
        };
        const auto at = items.begin() + row;
        return left.size() + 1 == items.size() && std::equal(items.begin(), at, left.begin(), isSame) &&
               std::equal(at + 1, items.end(), left.begin() + row, isSame);
    };
    if (isGone()) {
        beginRemoveRows({}, row, row);
        review_.setShown(std::move(rest));
        endRemoveRows();
    } else {
        beginResetModel();
        review_.setShown(std::move(rest));
        endResetModel();
    }
    emit shownChanged();
    tell(QStringLiteral("“%1” was taken out of the queue. Nothing was moved.")
             .arg(displayString(lastPathComponent(url))));
}

void CleanupReviewModel::reveal(int row) {
    if (!isRow(row)) {
        return;
    }
    dismissActionText();
    actions_.reveal(review_.shownItems()[static_cast<std::size_t>(row)].url, [this](const QString& problem) {
        if (!problem.isEmpty() && isOpen_) {
            tell(problem);
        }
    });
}

void CleanupReviewModel::tell(const QString& sentence) {
    actionText_ = sentence;
    emit actionTextChanged();
    emit told(sentence);
}

void CleanupReviewModel::dismissActionText() {
    if (!actionText_.isEmpty()) {
        actionText_.clear();
        emit actionTextChanged();
    }
}

int CleanupReviewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QString CleanupReviewModel::spokenText(const CleanupPreviewItem& item) const {
    QStringList parts{displayString(lastPathComponent(item.url)), QString::fromStdString(item.risk),
                      QString::fromStdString(formattedByteCount(item.estimatedBytes)),
                      displayString(item.url), QString::fromStdString(item.reason)};
    if (item.keeper) {
        parts << QString::fromStdString(cleanup_texts::retainedCopy(*item.keeper));
    }
    if (const std::string held = review_.runningText(item); !held.empty()) {
        parts << QString::fromStdString(held);
    }
    if (!item.uncheckedReason.empty()) {
        parts << QString::fromStdString(item.uncheckedReason);
    }
    return parts.join(QStringLiteral(", "));
}

QVariant CleanupReviewModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const CleanupPreviewItem& item = review_.shownItems()[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return displayString(lastPathComponent(item.url));
        case RiskRole:
            return QString::fromStdString(item.risk);
        case IsSafeRole:
            return item.risk == "Safe";
        case SizeTextRole:
            return QString::fromStdString(formattedByteCount(item.estimatedBytes));
        case PathRole:
            return displayString(item.url);
        case ReasonRole:
            return QString::fromStdString(item.reason);
        case KeeperTextRole:
            return item.keeper ? QString::fromStdString(cleanup_texts::retainedCopy(*item.keeper))
                               : QString();
        case RunningTextRole:
            return QString::fromStdString(review_.runningText(item));
        case UncheckedTextRole:
            return QString::fromStdString(item.uncheckedReason);
        case IconNameRole:
            return iconName(item);
        case SpokenTextRole:
            return spokenText(item);
        default:
            return {};
    }
}

QHash<int, QByteArray> CleanupReviewModel::roleNames() const {
    return {{NameRole, "name"},
            {RiskRole, "risk"},
            {IsSafeRole, "isSafe"},
            {SizeTextRole, "sizeText"},
            {PathRole, "path"},
            {ReasonRole, "reason"},
            {KeeperTextRole, "keeperText"},
            {RunningTextRole, "runningText"},
            {UncheckedTextRole, "uncheckedText"},
            {IconNameRole, "iconName"},
            {SpokenTextRole, "spokenText"}};
}

}  // namespace larkfold

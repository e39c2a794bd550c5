#include "shell/removal/CleanupHistoryModel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QPointer>
#include <QStringList>
#include <algorithm>
#include <exception>
#include <utility>

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "platform/qt/Desktop.h"
#include "platform/qt/PathText.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"
#include "removal/RemovalRecovery.h"
#include "shell/kit/DateTexts.h"

namespace larkfold {

namespace {

QString text(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

QString descriptionOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Error& error) {
        return text(error.description());
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
}

bool hasPlaceInTrash(const CleanupOperation::Item& item) {
    return !item.error && item.trashPath;
}

bool hasHelp(const CleanupOperation& operation) {
    return std::any_of(operation.items.begin(), operation.items.end(), hasPlaceInTrash);
}

}  // namespace

CleanupHistoryModel::CleanupHistoryModel(Dependencies dependencies, QObject* parent)
    : QAbstractListModel(parent),
      dependencies_(std::move(dependencies)),
      observation_(
          dependencies_.notifications.observe(std::string(CleanupHistoryStore::changedNotification),
                                              [this] {
                                                  if (hasAnswer_) {  // otherwise nobody has looked yet
                                                      load();
                                                  }
                                              })),
      context_(dependencies_.mainQueue, "cleanup-history") {
    recount();
}

CleanupHistoryModel::~CleanupHistoryModel() = default;

QString CleanupHistoryModel::restoreHelp() {
    return text(cleanup_texts::restoreHelp());
}

// MARK: What the store holds

void CleanupHistoryModel::load() {
    loadRun_ = context_.run<std::vector<CleanupOperation>>(
        [store = &dependencies_.store](std::stop_token) { return store->load(); },
        [this](Outcome<std::vector<CleanupOperation>> outcome) {
            try {
                take(std::move(outcome.get()));
            } catch (...) {
                failToRead(std::current_exception());
            }
        });
}

void CleanupHistoryModel::take(std::vector<CleanupOperation> operations) {
    hasAnswer_ = true;
    isRead_ = true;
    isUnreadable_ = false;
    error_.clear();
    errorHint_.clear();
    if (operations != operations_) {
        beginResetModel();
        operations_ = std::move(operations);
        recount();
        endResetModel();
        emit operationsChanged();
    }
    emit stateChanged();
}

void CleanupHistoryModel::failToRead(const std::exception_ptr& failure) {
    hasAnswer_ = true;
    isUnreadable_ = true;
    setError(text(cleanup_texts::historyUnreadable(descriptionOf(failure).toStdString())),
             text(cleanup_texts::historyUnreadableHint()));
}

void CleanupHistoryModel::setClearConfirmation(bool shown) {
    if (shown != clearConfirmation_) {
        clearConfirmation_ = shown;
        emit clearConfirmationChanged();
    }
}

void CleanupHistoryModel::clear() {
    setClearConfirmation(false);
    clearRun_ = context_.run<bool>(
        [store = &dependencies_.store](std::stop_token) {
            // First what would come into the history otherwise.
            RemovalRecovery(*store).forget();
            store->clear();
            return true;
        },
        [this](Outcome<bool> outcome) {
            try {
                outcome.get();
                setJournalProblem({});
                load();
            } catch (...) {
                setError(descriptionOf(std::current_exception()));
            }
        });
}

void CleanupHistoryModel::setError(const QString& description, const QString& hint) {
    error_ = description;
    errorHint_ = hint;
    emit stateChanged();
}

void CleanupHistoryModel::dismissError() {
    setError({});
}

void CleanupHistoryModel::setJournalProblem(const QString& sentences) {
    if (journalProblem_ != sentences) {
        journalProblem_ = sentences;
        emit stateChanged();
    }
}

// MARK: The way back from Trash

void CleanupHistoryModel::locateInTrash(int row) {
    const CleanupOperation::Item* item = itemOf(row);
    if (item == nullptr || !hasPlaceInTrash(*item)) {
        return;
    }
    // Asked off the main thread: the disk may not answer.
    locateRun_ = context_.run<bool>(
        [path = *item->trashPath](std::stop_token) { return FileIdentity::of(path).has_value(); },
        [this, path = *item->trashPath](Outcome<bool> outcome) {
            if (outcome.succeeded() && outcome.get()) {
                reveal(path);
            } else {
                setError(text(cleanup_texts::noLongerInTrash()));
            }
        });
}

void CleanupHistoryModel::reveal(const std::string& path) {
    setError({});
    auto done = [model = QPointer(this), path](bool shown) {
        if (model && !shown) {
            model->setError(text(cleanup_texts::revealFailed(path)));
        }
    };
    if (dependencies_.reveal) {
        dependencies_.reveal(path, std::move(done));
        return;
    }
    if (!desktop_) {
        desktop_ = std::make_unique<Desktop>();
    }
    desktop_->reveal({path}, std::move(done));
}

void CleanupHistoryModel::copyPath(int row) const {
    const auto reference = referenceOf(row);
    if (!reference || reference->kind != Item) {
        return;
    }
    const std::string& path = itemOf(row)->originalPath;
    const QString asText = QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size()));
    QGuiApplication::clipboard()->setText(
        asText.toStdString() == path ? asText : QString::fromLatin1(fileURLFromPath(path)));
}

// MARK: Rows

int CleanupHistoryModel::openRows(const CleanupOperation& operation) const {
    return static_cast<int>(operation.items.size()) + (hasHelp(operation) ? 1 : 0);
}

void CleanupHistoryModel::recount() {
    firstRows_.clear();
    int row = 0;
    for (const CleanupOperation& operation : operations_) {
        firstRows_.push_back(row);
        row += 1 + (expanded_.contains(operation.id) ? openRows(operation) : 0);
    }
    firstRows_.push_back(row);
}

int CleanupHistoryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : firstRows_.back();
}

std::optional<CleanupHistoryModel::RowReference> CleanupHistoryModel::referenceOf(int row) const {
    if (row < 0 || row >= rowCount()) {
        return std::nullopt;
    }
    const auto next = std::upper_bound(firstRows_.begin(), firstRows_.end(), row);
    const auto operation = static_cast<std::size_t>(next - firstRows_.begin()) - 1;
    const auto within = static_cast<std::size_t>(row - firstRows_[operation]);
    if (within == 0) {
        return RowReference{.operation = operation, .kind = Operation, .item = 0};
    }
    const std::size_t before = hasHelp(operations_[operation]) ? 2 : 1;
    if (within < before) {
        return RowReference{.operation = operation, .kind = Help, .item = 0};
    }
    return RowReference{.operation = operation, .kind = Item, .item = within - before};
}

const CleanupOperation::Item* CleanupHistoryModel::itemOf(int row) const {
    const auto reference = referenceOf(row);
    return reference && reference->kind == Item ? &operations_[reference->operation].items[reference->item]
                                                : nullptr;
}

int CleanupHistoryModel::operationRowOf(int row) const {
    const auto reference = referenceOf(row);
    return reference ? firstRows_[reference->operation] : -1;
}

void CleanupHistoryModel::toggle(int row) {
    const auto reference = referenceOf(row);
    if (!reference || reference->kind != Operation) {
        return;
    }
    const CleanupOperation& operation = operations_[reference->operation];
    const int rows = openRows(operation);
    const bool opens = !expanded_.contains(operation.id);
    if (rows > 0) {
        if (opens) {
            beginInsertRows({}, row + 1, row + rows);
        } else {
            beginRemoveRows({}, row + 1, row + rows);
        }
    }
    if (opens) {
        expanded_.insert(operation.id);
    } else {
        expanded_.erase(operation.id);
    }
    recount();
    if (rows > 0) {
        if (opens) {
            endInsertRows();
        } else {
            endRemoveRows();
        }
    }
    emit dataChanged(index(row), index(row), {IsOpenRole, SpokenTextRole});
    emit operationsChanged();
}

void CleanupHistoryModel::expand(const UUID& operation) {
    const auto found = std::find_if(operations_.begin(), operations_.end(),
                                    [&](const CleanupOperation& each) { return each.id == operation; });
    if (found == operations_.end()) {
        expanded_.insert(operation);  // it opens when it is read
    } else if (!expanded_.contains(operation)) {
        toggle(firstRows_[static_cast<std::size_t>(found - operations_.begin())]);
    }
}

QVariant CleanupHistoryModel::operationData(const CleanupOperation& operation, int role) const {
    const bool isOpen = expanded_.contains(operation.id);
    switch (role) {
        case Qt::DisplayRole:
        case TitleRole:
            return text(operation.source);
        case DateRole:
            return texts::dateAndTime(operation.finishedAt);
        case TextRole:
            return text(cleanup_texts::historyLine(operation));
        case IsOpenRole:
            return isOpen;
        case IsFailureRole:
            return !cleanup_texts::isComplete(operation);
        case CanLocateRole:
            return false;
        case SpokenTextRole:
            return QStringList{text(operation.source), texts::dateAndTime(operation.finishedAt),
                               text(cleanup_texts::historyLine(operation)),
                               isOpen ? QStringLiteral("open") : QStringLiteral("closed")}
                .join(QStringLiteral(", "));
        default:
            return {};
    }
}

QVariant CleanupHistoryModel::dataOfItem(const CleanupOperation& operation,
                                         const CleanupOperation::Item& item, int role) const {
    switch (role) {
        case Qt::DisplayRole:
        case TitleRole:
            return displayString(item.originalPath);
        case TextRole:
            return text(cleanup_texts::itemOutcome(item, operation.permanent));
        case IsOpenRole:
            return false;
        case IsFailureRole:
            return item.error.has_value();
        case CanLocateRole:
            return hasPlaceInTrash(item);
        case SpokenTextRole: {
            const QString outcome = text(cleanup_texts::itemOutcome(item, operation.permanent));
            const QString path = displayString(item.originalPath);
            return outcome.isEmpty() ? path : path + QStringLiteral(", ") + outcome;
        }
        default:
            return {};
    }
}

QVariant CleanupHistoryModel::data(const QModelIndex& index, int role) const {
    const auto reference =
        checkIndex(index, CheckIndexOption::IndexIsValid) ? referenceOf(index.row()) : std::nullopt;
    if (!reference) {
        return {};
    }
    if (role == KindRole) {
        return reference->kind;
    }
    const CleanupOperation& operation = operations_[reference->operation];
    switch (reference->kind) {
        case Operation:
            return operationData(operation, role);
        case Item:
            return dataOfItem(operation, operation.items[reference->item], role);
        case Help:
            break;
    }
    switch (role) {
        case TitleRole:
        case SpokenTextRole:
            return restoreHelp();
        case IsOpenRole:
        case IsFailureRole:
        case CanLocateRole:
            return false;
        default:
            return {};
    }
}

QHash<int, QByteArray> CleanupHistoryModel::roleNames() const {
    return {{KindRole, "kind"},           {TitleRole, "title"},          {DateRole, "date"},
            {TextRole, "text"},           {IsOpenRole, "isOpen"},        {IsFailureRole, "isFailure"},
            {CanLocateRole, "canLocate"}, {SpokenTextRole, "spokenText"}};
}

}  // namespace larkfold

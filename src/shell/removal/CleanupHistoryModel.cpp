#include "shell/removal/CleanupHistoryModel.h"

#include <QStringList>
#include <algorithm>
#include <cstddef>
#include <exception>
#include <utility>

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "platform/qt/PathText.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/CleanupTexts.h"
#include "removal/RemovalRecovery.h"
#include "shell/kit/DateTexts.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

QString text(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

bool hasPlaceInTrash(const CleanupOperation::Item& item) {
    return !item.error && item.trashPath;
}

bool hasHelp(const CleanupOperation& operation) {
    return std::any_of(operation.items.begin(), operation.items.end(), hasPlaceInTrash);
}

// The help stands before the items.
int openRows(const CleanupOperation& operation) {
    return static_cast<int>(operation.items.size()) + (hasHelp(operation) ? 1 : 0);
}

}  // namespace

CleanupHistoryModel::CleanupHistoryModel(Dependencies dependencies, QObject* parent)
    : SectionListModel(parent),
      dependencies_(std::move(dependencies)),
      actions_(dependencies_.reveal),
      observation_(
          dependencies_.notifications.observe(std::string(CleanupHistoryStore::changedNotification),
                                              [this] {
                                                  if (hasAnswer_) {  // otherwise nobody has looked yet
                                                      load();
                                                  }
                                              })),
      context_(dependencies_.mainQueue, "cleanup-history") {}

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
        reset([&] {
            operations_ = std::move(operations);
            std::vector<SectionRows::Section> sections;
            sections.reserve(operations_.size());
            for (const CleanupOperation& operation : operations_) {
                sections.push_back(
                    {.items = openRows(operation), .isOpen = expanded_.contains(operation.id)});
            }
            return sections;
        });
        emit operationsChanged();
    }
    emit stateChanged();
}

void CleanupHistoryModel::failToRead(const std::exception_ptr& failure) {
    hasAnswer_ = true;
    isUnreadable_ = true;
    setError(text(cleanup_texts::historyUnreadable(descriptionOf(failure))),
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
                setError(text(descriptionOf(std::current_exception())));
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
    const auto tell = [this](const QString& problem) {
        if (!problem.isEmpty()) {
            setError(problem);
        }
    };
    actions_.reveal(path, tell, QStringLiteral("It is still in Trash, at “%1”."));
}

void CleanupHistoryModel::copyPath(int row) {
    const CleanupOperation::Item* item = itemOf(row);
    setNotice(item ? PathActions::copy(item->originalPath)
                   : QStringLiteral("Only an item has a path to copy. Choose one in an open operation."));
}

void CleanupHistoryModel::setNotice(const QString& sentence) {
    if (notice_ != sentence) {
        notice_ = sentence;
        emit noticeChanged();
    }
}

// MARK: Rows

const CleanupOperation& CleanupHistoryModel::operationAt(int section) const {
    return operations_[static_cast<std::size_t>(section)];
}

// What its rows have beyond its items; looking at ten thousand items for every row would be slow.
int CleanupHistoryModel::helpRowsOf(int section) const {
    return rows().section(section).items - static_cast<int>(operationAt(section).items.size());
}

// Nothing for an operation, or for the help below it.
const CleanupOperation::Item* CleanupHistoryModel::itemOf(int row) const {
    const auto place = rows().placeOf(row);
    if (!place || !place->item) {
        return nullptr;
    }
    const CleanupOperation& operation = operationAt(place->section);
    const int item = *place->item - helpRowsOf(place->section);
    return item < 0 ? nullptr : &operation.items[static_cast<std::size_t>(item)];
}

void CleanupHistoryModel::noteOpened(int section, bool isOpen) {
    if (isOpen) {
        expanded_.insert(operationAt(section).id);
    } else {
        expanded_.erase(operationAt(section).id);
    }
}

void CleanupHistoryModel::expand(const UUID& operation) {
    const auto found = std::find_if(operations_.begin(), operations_.end(),
                                    [&](const CleanupOperation& each) { return each.id == operation; });
    if (found == operations_.end()) {
        expanded_.insert(operation);  // it opens when it is read
    } else {
        setOpen(static_cast<int>(found - operations_.begin()), true);
    }
}

QVariant CleanupHistoryModel::dataOfHeader(int section, int role) const {
    const CleanupOperation& operation = operationAt(section);
    switch (role) {
        case KindRole:
            return Operation;
        case Qt::DisplayRole:
        case TitleRole:
            return text(operation.source);
        case DateRole:
            return texts::dateAndTime(operation.finishedAt);
        case TextRole:
            return text(cleanup_texts::historyLine(operation));
        case IsFailureRole:
            return !cleanup_texts::isComplete(operation);
        case CanLocateRole:
            return false;
        case SizeTextRole:
            return QString();
        case SpokenTextRole:
            return QStringList{text(operation.source), texts::dateAndTime(operation.finishedAt),
                               text(cleanup_texts::historyLine(operation)), openText(section)}
                .join(QStringLiteral(", "));
        default:
            return {};
    }
}

QVariant CleanupHistoryModel::dataOfItem(int section, int item, int role) const {
    const CleanupOperation& operation = operationAt(section);
    const int help = helpRowsOf(section);
    if (item < help) {
        return dataOfHelp(role);
    }
    return dataOfRecord(operation, operation.items[static_cast<std::size_t>(item - help)], role);
}

QVariant CleanupHistoryModel::dataOfHelp(int role) const {
    switch (role) {
        case KindRole:
            return Help;
        case TitleRole:
        case SpokenTextRole:
            return restoreHelp();
        case TextRole:
        case SizeTextRole:
            return QString();
        case IsFailureRole:
        case CanLocateRole:
            return false;
        default:
            return {};
    }
}

QVariant CleanupHistoryModel::dataOfRecord(const CleanupOperation& operation,
                                           const CleanupOperation::Item& item, int role) const {
    const QString path = displayString(item.originalPath);
    const QString outcome = text(cleanup_texts::itemOutcome(item, operation.permanent));
    const QString size = item.logicalBytes ? texts::bytes(*item.logicalBytes) : QString();
    switch (role) {
        case KindRole:
            return Item;
        case Qt::DisplayRole:
        case TitleRole:
            return path;
        case TextRole:
            return outcome;
        case IsFailureRole:
            return item.error.has_value();
        case CanLocateRole:
            return hasPlaceInTrash(item);
        case SizeTextRole:
            return size;
        case SpokenTextRole: {
            QStringList parts{path, outcome, size};
            parts.removeAll(QString());
            return parts.join(QStringLiteral(", "));
        }
        default:
            return {};
    }
}

QHash<int, QByteArray> CleanupHistoryModel::rolesOfItsOwn() const {
    return {{KindRole, "kind"},         {TitleRole, "title"},          {DateRole, "date"},
            {TextRole, "text"},         {IsFailureRole, "isFailure"},  {CanLocateRole, "canLocate"},
            {SizeTextRole, "sizeText"}, {SpokenTextRole, "spokenText"}};
}

}  // namespace larkfold

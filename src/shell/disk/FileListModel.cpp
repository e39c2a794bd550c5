#include "shell/disk/FileListModel.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/qt/PathText.h"
#include "shell/disk/FileListRowTexts.h"
#include "shell/disk/FileListTexts.h"
#include "shell/disk/SummaryTexts.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

static_assert(static_cast<int>(FileListColumn::name) == FileListModel::Name);
static_assert(static_cast<int>(FileListColumn::size) == FileListModel::Size);
static_assert(static_cast<int>(FileListColumn::items) == FileListModel::Items);
static_assert(static_cast<int>(FileListColumn::type) == FileListModel::Type);

struct Choice {
    const char* label;
    qint64 value;
};

constexpr std::array sizeChoiceRows{
    Choice{.label = "Any size", .value = 0},
    Choice{.label = "10 MB+", .value = 10'485'760},
    Choice{.label = "100 MB+", .value = 104'857'600},
    Choice{.label = "1 GB+", .value = 1'073'741'824},
};

constexpr std::array ageChoiceRows{
    Choice{.label = "Any date", .value = 0},
    Choice{.label = "Over 30 days ago", .value = 30},
    Choice{.label = "Over 90 days ago", .value = 90},
    Choice{.label = "Over a year ago", .value = 365},
};

template <std::size_t count>
QVariantList choiceList(const std::array<Choice, count>& rows) {
    QVariantList list;
    for (const Choice& row : rows) {
        list.append(QVariantMap{{QStringLiteral("text"), QString::fromUtf8(row.label)},
                                {QStringLiteral("value"), row.value}});
    }
    return list;
}

template <std::size_t count>
int choiceWith(const std::array<Choice, count>& rows, qint64 value) {
    const auto found = std::ranges::find(rows, value, &Choice::value);
    return found == rows.end() ? -1 : static_cast<int>(found - rows.begin());
}

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

// Names whose keys are made between two events: about a third of a millisecond.
constexpr std::size_t namesInIdleTime = 500;
// Lists of fewer names are sorted at once in any order.
constexpr std::size_t namesWorthPreparing = 5000;

}  // namespace

FileListModel::FileListModel(QObject* parent)
    : QAbstractListModel(parent), marks_([this] { refreshRows({IsMarkedRole, SpokenTextRole}); }) {
    idle_.setInterval(0);
    connect(&idle_, &QTimer::timeout, this, &FileListModel::prepareNames);
}

FileListModel::~FileListModel() = default;

// MARK: Rows for the view

int FileListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QHash<int, QByteArray> FileListModel::roleNames() const {
    return {
        {NameRole, "name"},
        {SizeRole, "size"},
        {SizeTextRole, "sizeText"},
        {ItemsTextRole, "itemsText"},
        {TypeTextRole, "typeText"},
        {IconNameRole, "iconName"},
        {ShareRole, "share"},
        {ShareTextRole, "shareText"},
        {ShareOfRole, "shareOf"},
        {DetailsRole, "details"},
        {LocationTextRole, "locationText"},
        {PathTextRole, "pathText"},
        {ExplanationRole, "explanation"},
        {SpokenTextRole, "spokenText"},
        {IsDirectoryRole, "isDirectory"},
        {IsAggregateRole, "isAggregate"},
        {IsMarkedRole, "isMarked"},
        {IsHoveredRole, "isHovered"},
        {CanOpenRole, "canOpen"},
    };
}

QVariant FileListModel::data(const QModelIndex& index, int role) const {
    const FileNode::Pointer pointer = index.isValid() ? node(index.row()) : nullptr;
    if (!pointer) {
        return {};
    }
    const FileNode& node = *pointer;
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return displayString(node.name());
        case SizeRole:
            return static_cast<qint64>(node.size());
        case SizeTextRole:
            return texts::bytes(node.size());
        case ItemsTextRole:
            return texts::rowItems(node);
        case TypeTextRole:
            return texts::rowType(node);
        case IconNameRole:
            return texts::rowIconName(node);
        case ShareRole:
            return texts::rowShare(node);
        case ShareTextRole:
            return texts::share(texts::rowShare(node));
        case ShareOfRole:
            return texts::rowShareOf(node);
        case DetailsRole:
            return texts::rowDetails(node);
        case LocationTextRole:
            return locationText(node);
        case PathTextRole:
            return displayString(node.url());
        case ExplanationRole:
            return texts::summaryExplanation(node, hasSavedIndex());
        case SpokenTextRole:
            return texts::rowSpoken(node, locationText(node), isMarked(node));
        case IsDirectoryRole:
            return node.isDirectory();
        case CanOpenRole:
            return node.isDirectory() || (node.isAggregate() && driver_ && driver_->hasSavedIndex());
        case IsAggregateRole:
            return node.isAggregate();
        case IsMarkedRole:
            return isMarked(node);
        case IsHoveredRole:
            return index.row() == hoveredRow_;
        default:
            return {};
    }
}

QString FileListModel::locationText(const FileNode& node) const {
    return query_.searchSubfolders ? texts::rowLocation(node, rows_.root().get()) : QString();
}

bool FileListModel::isMarked(const FileNode& node) const {
    return driver_ && driver_->selectedForDeletion().contains(node.id());
}

// MARK: Following the driver

void FileListModel::setDriver(DiskScannerViewModel* driver) {
    if (driver_ == driver) {
        return;
    }
    if (driver_) {
        driver_->disconnect(this);
    }
    driver_ = driver;
    if (driver_) {
        connect(driver_, &DiskScannerViewModel::scanResultChanged, this, &FileListModel::followFolder);
        // Also sent when the current folder's children were filled in, so the folder may be the same one.
        connect(driver_, &DiskScannerViewModel::navigationStackChanged, this, &FileListModel::followFolder);
        connect(driver_, &DiskScannerViewModel::selectedNodeChanged, this,
                &FileListModel::followSelectedNode);
        connect(driver_, &DiskScannerViewModel::hoveredNodeChanged, this, &FileListModel::followHoveredNode);
        connect(driver_, &DiskScannerViewModel::selectedForDeletionChanged, this, [this] { marks_.note(); });
        connect(driver_, &DiskScannerViewModel::isDeletingChanged, this, &FileListModel::summariesChanged);
        connect(driver_, &DiskScannerViewModel::hasSavedIndexChanged, this, [this] {
            refreshRows({CanOpenRole});
            emit summariesChanged();
            emit noticeChanged();
        });
        connect(driver_, &QObject::destroyed, this, [this] {
            driver_ = nullptr;
            followFolder();
            emit driverChanged();
        });
    }
    followFolder();
    emit driverChanged();
}

void FileListModel::followFolder() {
    const FileNode::Pointer folder = driver_ ? driver_->currentNode() : nullptr;
    const FileNode::Pointer previous = rows_.root();
    FileNode::Pointer current = currentNode_.lock();
    if (folder != previous) {
        dismissNotice();
        current = nullptr;
        // Coming back out of a folder, the keyboard stands on the folder that was left.
        for (FileNode::Pointer left = previous; folder && left; left = left->parent()) {
            if (left->parent() == folder) {
                current = left;
                break;
            }
        }
    }
    currentNode_ = current;
    beginResetModel();
    rows_.setRoot(folder);
    rows_.update(query_, clock_());
    rowOfNode_.clear();
    endResetModel();
    if (folder == previous && currentRow_ >= 0 && (!current || rowOf(current.get()) < 0)) {
        // What had the keyboard is gone, as a summary that was opened: it stays at that place.
        currentNode_ = node(std::min(currentRow_, count() - 1));
    }
    settleRows();
    // A row that is gone cannot tell that the pointer left it.
    if (driver_ && driver_->hoveredNode() && rowOf(driver_->hoveredNode().get()) < 0) {
        driver_->clearHoveredNode(this);
    }
}

void FileListModel::rebuild() {
    beginResetModel();
    rows_.update(query_, clock_());
    rowOfNode_.clear();
    endResetModel();
    settleRows();
}

void FileListModel::prepareNames() {
    if (!rows_.prepareNames(namesInIdleTime)) {
        idle_.stop();
    }
}

// What depends on the rows' numbers, after they have changed.
void FileListModel::settleRows() {
    if (rows_.entryCount() >= namesWorthPreparing) {
        idle_.start();
    } else {
        idle_.stop();
    }
    hoveredRow_ = -1;
    followHoveredNode();
    const FileNode::Pointer current = currentNode_.lock();
    currentRow_ = current ? rowOf(current.get()) : -1;
    emit rowsChanged();
    emit summariesChanged();
    emit currentRowChanged();  // also where the number is the same: the view has lost its place by the reset
    emit noticeChanged();
}

void FileListModel::followSelectedNode() {
    // Without a selection the keyboard stays where it is.
    if (driver_ && driver_->selectedNode()) {
        setCurrentNode(driver_->selectedNode());
    }
}

void FileListModel::setCurrentNode(const FileNode::Pointer& node) {
    const int row = rowOf(node.get());
    if (row < 0 || row == currentRow_) {
        return;
    }
    currentNode_ = node;
    currentRow_ = row;
    notice_.clear();
    emit currentRowChanged();
    emit noticeChanged();
}

void FileListModel::setCurrentRow(int row) {
    const FileNode::Pointer wanted = node(row);
    if (!wanted) {
        return;
    }
    setCurrentNode(wanted);
    if (driver_) {
        driver_->setSelectedNode(wanted);
    }
}

void FileListModel::followHoveredNode() {
    // The map may point deeper than the list shows: then the row that holds it lights up.
    int row = -1;
    for (FileNode::Pointer node = driver_ ? driver_->hoveredNode() : nullptr; node && row < 0;
         node = node->parent()) {
        row = rowOf(node.get());
    }
    if (row == hoveredRow_) {
        return;
    }
    for (const int changed : {std::exchange(hoveredRow_, row), row}) {
        if (changed >= 0 && changed < count()) {
            emit dataChanged(index(changed), index(changed), {IsHoveredRole});
        }
    }
}

void FileListModel::refreshRows(const QList<int>& roles) {
    if (count() > 0) {
        emit dataChanged(index(0), index(count() - 1), roles);
    }
}

FileNode::Pointer FileListModel::node(int row) const {
    return row >= 0 && row < count() ? rows_.rows()[static_cast<std::size_t>(row)] : nullptr;
}

int FileListModel::rowOf(const FileNode* node) const {
    if (!node) {
        return -1;
    }
    if (rowOfNode_.empty()) {
        rowOfNode_.reserve(rows_.rows().size());
        int row = 0;
        for (const FileNode::Pointer& listed : rows_.rows()) {
            rowOfNode_.emplace(listed.get(), row++);
        }
    }
    const auto found = rowOfNode_.find(node);
    return found == rowOfNode_.end() ? -1 : found->second;
}

// MARK: What narrows and orders the rows

template <typename Value>
void FileListModel::setQueryValue(Value& value, Value wanted) {
    if (value == wanted) {
        return;
    }
    value = std::move(wanted);
    rebuild();
    emit queryChanged();
}

QString FileListModel::searchText() const {
    return text(query_.searchText);
}
QString FileListModel::extensionFilter() const {
    return text(query_.filter.extensionFilter);
}
QString FileListModel::locationFilter() const {
    return text(query_.filter.locationFilter);
}

void FileListModel::setSearchText(const QString& wanted) {
    setQueryValue(query_.searchText, wanted.toStdString());
}

void FileListModel::setMinimumSize(qint64 bytes) {
    setQueryValue(query_.filter.minimumSize, static_cast<std::int64_t>(bytes));
}

void FileListModel::setExtensionFilter(const QString& extensions) {
    setQueryValue(query_.filter.extensionFilter, extensions.toStdString());
}

void FileListModel::setLocationFilter(const QString& wanted) {
    setQueryValue(query_.filter.locationFilter, wanted.toStdString());
}

void FileListModel::setOlderThanDays(int days) {
    setQueryValue(query_.filter.olderThanDays, days);
}

int FileListModel::minimumSizeChoice() const {
    return choiceWith(sizeChoiceRows, minimumSize());
}
int FileListModel::ageChoice() const {
    return choiceWith(ageChoiceRows, olderThanDays());
}

void FileListModel::chooseMinimumSize(int choice) {
    if (choice >= 0 && choice < static_cast<int>(sizeChoiceRows.size())) {
        setMinimumSize(sizeChoiceRows[static_cast<std::size_t>(choice)].value);
    }
}

void FileListModel::chooseAge(int choice) {
    if (choice >= 0 && choice < static_cast<int>(ageChoiceRows.size())) {
        setOlderThanDays(static_cast<int>(ageChoiceRows[static_cast<std::size_t>(choice)].value));
    }
}

void FileListModel::setSearchSubfolders(bool searches) {
    setQueryValue(query_.searchSubfolders, searches);
}

bool FileListModel::hasFilters() const {
    return query_.filter != FileListFilter{} || query_.searchSubfolders;
}

void FileListModel::resetFilters() {
    if (hasFilters()) {
        query_.filter = {};
        query_.searchSubfolders = false;
        rebuild();
        emit queryChanged();
    }
}

void FileListModel::resetSearchAndFilters() {
    query_.searchText.clear();
    query_.filter = {};
    query_.searchSubfolders = false;
    rebuild();
    emit queryChanged();
}

void FileListModel::setSortOrder(std::vector<FileListComparator> order) {
    if (order == query_.sortOrder) {
        return;
    }
    query_.sortOrder = std::move(order);
    rebuild();
    emit sortOrderChanged();
}

FileListModel::Column FileListModel::sortColumn() const {
    return query_.sortOrder.empty() ? Size : static_cast<Column>(query_.sortOrder.front().column);
}

bool FileListModel::isSortedDescending() const {
    return query_.sortOrder.empty() || query_.sortOrder.front().isDescending;
}

void FileListModel::sortBy(Column column) {
    const auto wanted = static_cast<FileListColumn>(column);
    auto order = query_.sortOrder;
    if (!order.empty() && order.front().column == wanted) {
        order.front().isDescending = !order.front().isDescending;
    } else {
        // Numbers begin with the large ones, words with "a".
        const bool isDescending = wanted == FileListColumn::size || wanted == FileListColumn::items;
        std::erase_if(order,
                      [&](const FileListComparator& comparator) { return comparator.column == wanted; });
        order.insert(order.begin(), {.column = wanted, .isDescending = isDescending});
    }
    setSortOrder(std::move(order));
}

QVariantList FileListModel::minimumSizeChoices() {
    return choiceList(sizeChoiceRows);
}
QVariantList FileListModel::ageChoices() {
    return choiceList(ageChoiceRows);
}

// MARK: No rows

FileListModel::EmptyReason FileListModel::emptyReason() const {
    if (count() > 0) {
        return NotEmpty;
    }
    if (!rows_.root()) {
        return NoFolder;
    }
    if (rows_.root()->children().empty()) {
        return EmptyFolder;
    }
    const FileListRows::Looked& looked = rows_.looked();
    return looked.loadedFiles < looked.allFiles ? NothingLoadedMatches : NothingMatches;
}

QString FileListModel::emptyTitle() const {
    switch (emptyReason()) {
        case NoFolder:
            return file_list_texts::noFolderTitle;
        case EmptyFolder:
            return file_list_texts::emptyFolderTitle;
        case NothingMatches:
            return file_list_texts::nothingMatchesTitle;
        case NothingLoadedMatches:
            return file_list_texts::nothingLoadedMatchesTitle;
        case NotEmpty:
            break;
    }
    return {};
}

QString FileListModel::emptyText() const {
    switch (emptyReason()) {
        case NoFolder:
            return file_list_texts::noFolderText;
        case EmptyFolder:
            return file_list_texts::emptyFolderText;
        case NothingMatches:
            if (query_.searchSubfolders) {
                return file_list_texts::nothingMatchesBelowText;
            }
            return std::ranges::any_of(rows_.root()->children(), &FileNode::isDirectory)
                       ? file_list_texts::nothingMatchesText
                       : file_list_texts::nothingMatchesHereText;
        case NothingLoadedMatches:
            return texts::nothingFoundAmongLoaded(*rows_.root(), rows_.looked().loadedFiles,
                                                  rows_.looked().allFiles, query_.searchSubfolders,
                                                  hasSavedIndex());
        case NotEmpty:
            break;
    }
    return {};
}

// MARK: What stands in summaries

QString FileListModel::summaryNote() const {
    return rows_.holdsSummaries() ? texts::filtersApplyToLoadedEntries(hasSavedIndex()) : QString();
}

FileNode::Pointer FileListModel::summaryOfFolder() const {
    if (!rows_.root()) {
        return nullptr;
    }
    const auto& children = rows_.root()->children();
    const auto found = std::ranges::find_if(children, &FileNode::isAggregate);
    return found == children.end() ? nullptr : *found;
}

bool FileListModel::canLoadMore() const {
    return summaryOfFolder() && hasSavedIndex() && !driver_->isDeleting() && loadBringsMore(*rows_.root());
}

void FileListModel::loadMore() {
    if (canLoadMore()) {
        driver_->openSummary(summaryOfFolder());
    }
}

// MARK: Notices

QString FileListModel::notice() const {
    if (!notice_.isEmpty()) {
        return notice_;
    }
    const FileNode::Pointer current = node(currentRow_);
    return current ? texts::summaryExplanation(*current, hasSavedIndex()) : QString();
}

QString FileListModel::currentDetails() const {
    const FileNode::Pointer current = node(currentRow_);
    return current ? texts::rowDetails(*current) : QString();
}

void FileListModel::showNotice(const QString& notice) {
    notice_ = notice;
    emit noticeChanged();
    emit told(notice);
}

void FileListModel::dismissNotice() {
    if (!notice_.isEmpty()) {
        notice_.clear();
        emit noticeChanged();
    }
}

// MARK: What the user does with a row

void FileListModel::open(int row) {
    if (const FileNode::Pointer wanted = node(row); wanted && driver_) {
        if (wanted->isDirectory()) {
            driver_->navigateInto(wanted);
        } else {
            setCurrentRow(row);
            if (wanted->isAggregate() && !driver_->hasSavedIndex()) {
                showNotice(file_list_texts::summaryCannotBeOpened);
            } else {
                driver_->openSummary(wanted);
            }
        }
    }
}

void FileListModel::goBack() {
    if (driver_) {
        driver_->navigateBack();
    }
}

void FileListModel::toggleMark(int row) {
    const FileNode::Pointer wanted = node(row);
    if (!wanted || !driver_) {
        return;
    }
    setCurrentRow(row);
    dismissNotice();
    if (const auto refusal = driver_->whyNotMarked(*wanted)) {
        showNotice(QString::fromStdString(*refusal));
    } else {
        driver_->toggleSelection(wanted);
    }
}

void FileListModel::hover(int row) {
    if (const FileNode::Pointer pointed = node(row); pointed && driver_) {
        driver_->setHoveredNode(pointed, this);
    }
}

void FileListModel::leave(int row) {
    if (driver_ && driver_->hoveredNode() && driver_->hoveredNode() == node(row)) {
        driver_->clearHoveredNode(this);
    }
}

bool FileListModel::isMarked(int row) const {
    const FileNode::Pointer wanted = node(row);
    return wanted && isMarked(*wanted);
}

bool FileListModel::isAggregate(int row) const {
    const FileNode::Pointer wanted = node(row);
    return wanted && wanted->isAggregate();
}

QString FileListModel::whyNotMarked(int row) const {
    const FileNode::Pointer wanted = node(row);
    return wanted && driver_ ? QString::fromStdString(driver_->whyNotMarked(*wanted).value_or(std::string()))
                             : QString();
}

void FileListModel::reveal(int row) {
    if (const auto path = pathOf(row)) {
        dismissNotice();
        actions_->reveal(*path, [this](const QString& problem) {
            if (!problem.isEmpty()) {
                showNotice(problem);
            }
        });
    }
}

void FileListModel::copyPath(int row) {
    if (const auto path = pathOf(row)) {
        showNotice(PathActions::copy(*path));
    }
}

// Nothing for a summary, which the user is told.
std::optional<std::string> FileListModel::pathOf(int row) {
    const FileNode::Pointer wanted = node(row);
    if (wanted && wanted->isAggregate()) {
        showNotice(file_list_texts::aggregateHasNoPath);
    }
    return wanted && !wanted->isAggregate() ? std::optional(wanted->url()) : std::nullopt;
}

void FileListModel::setRevealer(PathActions::Program revealer) {
    actions_ = std::make_unique<PathActions>(std::move(revealer));
}

int FileListModel::typeAhead(const QString& addition) {
    return typeAhead_.rowFor(addition, currentRow_, count(),
                             [this](int row) { return rows_.rows()[static_cast<std::size_t>(row)]->name(); });
}

}  // namespace larkfold

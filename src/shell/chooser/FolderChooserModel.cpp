#include "shell/chooser/FolderChooserModel.h"

#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <numeric>
#include <string_view>
#include <utility>

#include "platform/CoalescedReports.h"
#include "platform/Collation.h"
#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/qt/PathText.h"
#include "shell/chooser/FolderChooserTexts.h"

namespace larkfold {

namespace texts = folder_chooser_texts;

namespace {

// So many names are prepared between two looks at the token.
constexpr std::size_t namesBetweenChecks = 1024;

bool isHidden(std::string_view name) {
    return name.starts_with('.');
}

// A sort of a million keys takes longer than a user waits for the next folder: the comparison looks
// for a stop.
void sortUnlessStopped(std::vector<std::pair<std::string, std::string>>& keyed, const std::stop_token& stop) {
    std::size_t untilCheck = namesBetweenChecks;
    std::sort(keyed.begin(), keyed.end(), [&](const auto& left, const auto& right) {
        if (--untilCheck == 0) {
            untilCheck = namesBetweenChecks;
            if (stop.stop_requested()) {
                throw CancellationError();
            }
        }
        return left < right;
    });
}

using ListFolders = decltype(FolderChooserModel::Dependencies::listFolders);

// Throws CancellationError.
void sortAsTheUserDoes(std::vector<std::string>& names, const std::stop_token& stop) {
    const Collator collator;
    std::vector<std::pair<std::string, std::string>> keyed;
    keyed.reserve(names.size());
    for (std::string& name : names) {
        if (keyed.size() % namesBetweenChecks == 0 && stop.stop_requested()) {
            throw CancellationError();
        }
        std::string key = collator.sortKey(name);
        keyed.emplace_back(std::move(key), std::move(name));
    }
    sortUnlessStopped(keyed, stop);
    std::transform(keyed.begin(), keyed.end(), names.begin(),
                   [](auto& pair) { return std::move(pair.second); });
}

// What is in there, ordered as the user's language orders. Throws CancellationError.
FolderListing sortedListing(const ListFolders& listFolders, const std::string& path,
                            const WantedFiles& wantsFile, const std::stop_token& stop,
                            const std::function<void(std::size_t)>& report) {
    FolderListing listing = listFolders(path, wantsFile, stop, report);
    sortAsTheUserDoes(listing.names, stop);
    sortAsTheUserDoes(listing.files, stop);
    return listing;
}

// The path of each folder from the root down to `path`: "/", "/a", "/a/b".
std::vector<std::string> waysTo(const std::string& path) {
    std::vector<std::string> ways{"/"};
    for (std::size_t slash = path.find('/', 1); path.size() > 1; slash = path.find('/', slash + 1)) {
        ways.push_back(path.substr(0, slash));
        if (slash == std::string::npos) {
            break;
        }
    }
    return ways;
}

// Why nothing came: the error of a listing that never was.
int errorOf(const std::function<void()>& rethrow) {
    try {
        rethrow();
    } catch (const CancellationError&) {
        return ECANCELED;
    } catch (const std::exception&) {
        return EIO;  // no memory for the names, at the worst
    }
    return 0;
}

}  // namespace

// What a typed path led to: a folder, or a file in it.
struct FolderChooserModel::Found {
    std::string folder;
    std::string file;  // empty: none
    FolderListing listing;
};

FolderChooserModel::FolderChooserModel(Dependencies dependencies, QObject* parent)
    : QAbstractListModel(parent),
      dependencies_(std::move(dependencies)),
      placesContext_(dependencies_.mainQueue, "places"),
      listContext_(dependencies_.mainQueue, "list-folders"),
      lookupContext_(dependencies_.mainQueue, "look-up-folder") {
    connect(this, &FolderChooserModel::folderChanged, this, &FolderChooserModel::currentPlaceChanged);
    connect(this, &FolderChooserModel::folderChanged, this, &FolderChooserModel::choiceChanged);
    connect(this, &FolderChooserModel::listingChanged, this, &FolderChooserModel::choiceChanged);
    connect(this, &FolderChooserModel::currentRowChanged, this, &FolderChooserModel::choiceChanged);
}

FolderChooserModel::~FolderChooserModel() = default;

void FolderChooserModel::begin(const std::string& startFolder, const OpenPanel::Question& question) {
    cancelTypingPath();
    question_ = question;
    checked_.clear();
    emit questionChanged();
    emit choiceChanged();
    readPlaces();
    cameFrom_.clear();
    enter(folder_.empty() ? startFolder : std::string(folder_));
}

void FolderChooserModel::end() {
    placesRun_.drop();
    listRun_.drop();
    cancelTypingPath();
}

// --- Places

void FolderChooserModel::readPlaces() {
    placesRun_ = placesContext_.run<std::vector<UserLocation>>(
        [read = dependencies_.readPlaces](std::stop_token) { return read(); },
        [this](Outcome<std::vector<UserLocation>> outcome) {
            try {
                places_ = std::move(outcome.get());
            } catch (const std::exception&) {
                places_.clear();  // the way up and a typed path lead everywhere
            }
            emit placesChanged();
            emit currentPlaceChanged();  // behind the rows, which take the view's own index along
        });
}

QVariantList FolderChooserModel::places() const {
    QVariantList list;
    for (const UserLocation& place : places_) {
        list.append(QVariantMap{{QStringLiteral("title"), texts::placeTitle(place)},
                                {QStringLiteral("detail"), displayString(place.path)},
                                {QStringLiteral("icon"), texts::placeIcon(place.kind)}});
    }
    return list;
}

int FolderChooserModel::currentPlace() const {
    const auto found = std::find_if(places_.begin(), places_.end(),
                                    [this](const UserLocation& place) { return place.path == folder_; });
    return found == places_.end() ? -1 : static_cast<int>(found - places_.begin());
}

void FolderChooserModel::goToPlace(int place) {
    if (place >= 0 && place < static_cast<int>(places_.size())) {
        goTo(places_[static_cast<std::size_t>(place)].path);
    }
}

// --- Where the user is

QString FolderChooserModel::folderName() const {
    return displayString(lastPathComponent(folder_));
}

bool FolderChooserModel::canGoUp() const {
    return folder_ != "/";
}

void FolderChooserModel::open(int row) {
    if (row < 0 || row >= rowCount()) {
        return;
    }
    if (isFile(row)) {
        setCurrentRow(row);
        accept();
    } else {
        goTo(pathOf(row));
    }
}

void FolderChooserModel::activate() {
    if (currentRow_ >= 0) {
        open(currentRow_);
    } else {
        accept();
    }
}

void FolderChooserModel::goUp() {
    if (canGoUp()) {
        goTo(std::string(parentPath(folder_)));
    }
}

void FolderChooserModel::goToCrumb(int row) {
    const int position = crumbs_.position(row);
    if (position >= 0) {
        goTo(waysTo(folder_)[static_cast<std::size_t>(position)]);
    }
}

void FolderChooserModel::goTo(const std::string& path) {
    cancelTypingPath();
    if (path == folder_) {
        // Nothing to leave: the folder itself becomes what would be chosen.
        setCurrentRow(-1);
        return;
    }
    // Who goes up finds the folder that was left.
    cameFrom_.clear();
    if (isAtOrBelow(folder_, path)) {
        const std::size_t from = path == "/" ? 1 : path.size() + 1;
        cameFrom_ = folder_.substr(from, folder_.find('/', from) - from);
    }
    enter(path);
}

void FolderChooserModel::enter(const std::string& path) {
    setFolder(path);
    list();
}

void FolderChooserModel::setFolder(const std::string& path) {
    folder_ = standardizedPath(path);
    typeAhead_.forget();
    QStringList names;
    for (const std::string& way : waysTo(folder_)) {
        names.append(displayString(lastPathComponent(way)));
    }
    crumbs_.setNames(names);
    emit folderChanged();
}

// --- What is in there

void FolderChooserModel::list() {
    const std::uint64_t listing = ++listing_;
    isListing_ = true;
    entriesSeen_ = 0;
    error_ = 0;
    names_.clear();
    folderCount_ = 0;
    showRows();
    const CoalescedReports<std::size_t> reports(
        dependencies_.mainQueue, [self = QPointer(this), listing](const std::size_t& seen) {
            if (self && self->listing_ == listing && self->isListing_) {
                self->entriesSeen_ = seen;
                emit self->listingChanged();
            }
        });
    listRun_ = listContext_.run<FolderListing>(
        [listFolders = dependencies_.listFolders, path = folder_, wanted = wantedFiles(),
         reports](std::stop_token stop) {
            return sortedListing(listFolders, path, wanted, stop,
                                 [&reports](std::size_t seen) { reports.report(seen); });
        },
        [this](Outcome<FolderListing> outcome) {
            FolderListing found;
            const int problem = errorOf([&] { found = std::move(outcome.get()); });
            found.error = problem != 0 ? problem : found.error;
            takeListing(std::move(found));
        });
}

void FolderChooserModel::takeListing(FolderListing listing) {
    isListing_ = false;
    names_ = std::move(listing.names);
    folderCount_ = names_.size();
    std::move(listing.files.begin(), listing.files.end(), std::back_inserter(names_));
    error_ = listing.error;
    showRows();
    if (!cameFrom_.empty()) {
        setCurrentRow(rowOfName(std::exchange(cameFrom_, {})));
    }
}

void FolderChooserModel::showRows() {
    beginResetModel();
    shown_.resize(names_.size());
    std::iota(shown_.begin(), shown_.end(), 0U);
    if (!showsHiddenFolders_) {
        std::erase_if(shown_, [this](std::uint32_t index) { return isHidden(names_[index]); });
    }
    currentRow_ = -1;
    rangeStart_ = -1;
    endResetModel();
    emit currentRowChanged();
    emit listingChanged();
}

const std::string& FolderChooserModel::nameOf(int row) const {
    return names_[shown_[static_cast<std::size_t>(row)]];
}

int FolderChooserModel::rowOfName(const std::string& name) const {
    const auto found = std::find_if(shown_.begin(), shown_.end(),
                                    [&](std::uint32_t index) { return names_[index] == name; });
    return found == shown_.end() ? -1 : static_cast<int>(found - shown_.begin());
}

QString FolderChooserModel::listingText() const {
    return isListing_ ? texts::reading(entriesSeen_) : QString();
}

QString FolderChooserModel::emptyTitle() const {
    if (!isEmpty()) {
        return {};
    }
    if (error_ != 0) {
        return texts::unreadableTitle();
    }
    return names_.empty() ? texts::nothingTitle(question_) : texts::onlyHiddenTitle(question_);
}

QString FolderChooserModel::emptyText() const {
    if (!isEmpty()) {
        return {};
    }
    if (error_ != 0) {
        return texts::unreadableText(folder_, error_);
    }
    return names_.empty() ? texts::nothingText(question_) : texts::onlyHiddenText(question_, names_.size());
}

QString FolderChooserModel::notice() const {
    return error_ != 0 && !isListing_ && !shown_.empty() ? texts::partlyRead(question_, folder_, error_)
                                                         : QString();
}

QString FolderChooserModel::countText() const {
    if (isListing_) {
        return texts::reading(entriesSeen_);
    }
    const auto files = static_cast<std::size_t>(std::count_if(
        shown_.begin(), shown_.end(), [this](std::uint32_t index) { return index >= folderCount_; }));
    return choosesFiles() ? texts::foldersAndFilesInside(shown_.size() - files, files)
                          : texts::foldersInside(shown_.size());
}

void FolderChooserModel::setShowsHiddenFolders(bool shows) {
    if (shows == showsHiddenFolders_) {
        return;
    }
    const std::string current = currentRow_ >= 0 ? nameOf(currentRow_) : std::string();
    showsHiddenFolders_ = shows;
    showRows();
    setCurrentRow(rowOfName(current));
    emit showsHiddenFoldersChanged();
}

// --- What would be chosen

void FolderChooserModel::setCurrentRow(int row) {
    const int wanted = row >= 0 && row < rowCount() ? row : -1;
    rangeStart_ = -1;
    if (wanted != currentRow_) {
        currentRow_ = wanted;
        emit currentRowChanged();
    }
}

std::vector<std::string> FolderChooserModel::choices() const {
    if (!checked_.empty()) {
        return {checked_.begin(), checked_.end()};
    }
    if (choosesFiles() && (currentRow_ < 0 || !isFile(currentRow_))) {
        return {};
    }
    return {currentRow_ >= 0 ? pathOf(currentRow_) : folder_};
}

QString FolderChooserModel::choiceText() const {
    return texts::choice(choices());
}

QString FolderChooserModel::spokenChoice() const {
    return texts::spokenChoice(question_, choices());
}

bool FolderChooserModel::canAccept() const {
    if (choosesFiles()) {
        return !choices().empty();
    }
    return !checked_.empty() || currentRow_ >= 0 || isListing_ || !isUnreadable();
}

void FolderChooserModel::accept() {
    if (canAccept()) {
        emit accepted();
    }
}

// --- What is asked for

WantedFiles FolderChooserModel::wantedFiles() const {
    if (!choosesFiles()) {
        return nullptr;
    }
    return [type = question_.fileType](std::string_view name) { return type.accepts(name); };
}

QString FolderChooserModel::choiceLabel() const {
    return texts::choiceLabel(question_);
}

QString FolderChooserModel::listedText() const {
    return texts::whatIsListed(question_);
}

QString FolderChooserModel::showHiddenText() const {
    return texts::showHidden(question_);
}

// --- Several folders

void FolderChooserModel::setChecked(int first, int last, bool isChecked) {
    for (int row = first; row <= last; ++row) {
        if (isChecked) {
            checked_.insert(pathOf(row));
        } else {
            checked_.erase(pathOf(row));
        }
    }
    emit dataChanged(index(first), index(last), {IsCheckedRole});
    emit choiceChanged();
}

void FolderChooserModel::toggleCheck(int row) {
    if (choosesSeveral() && row >= 0 && row < rowCount()) {
        rangeStart_ = row;
        setChecked(row, row, !checked_.contains(pathOf(row)));
    }
}

void FolderChooserModel::checkThrough(int row) {
    if (!choosesSeveral() || row < 0 || row >= rowCount()) {
        return;
    }
    const int start = rangeStart_ >= 0 ? rangeStart_ : currentRow_ >= 0 ? currentRow_ : row;
    setChecked(std::min(start, row), std::max(start, row), true);
    setCurrentRow(row);
    rangeStart_ = start;
}

void FolderChooserModel::checkAllRows() {
    if (choosesSeveral() && rowCount() > 0) {
        setChecked(0, rowCount() - 1, true);
    }
}

void FolderChooserModel::clearChecks() {
    if (checked_.empty()) {
        return;
    }
    checked_.clear();
    if (rowCount() > 0) {
        emit dataChanged(index(0), index(rowCount() - 1), {IsCheckedRole});
    }
    emit choiceChanged();
}

// --- A typed path

void FolderChooserModel::beginTypingPath(const QString& text) {
    setPathProblem({});
    setTypedPath(text.isEmpty() ? displayString(folder_) : text);
    typedPathKept_ = static_cast<int>(text.size());
    setTypingPath(true);
    emit pathOffered();
}

void FolderChooserModel::toggleTypingPath() {
    if (isTypingPath_) {
        cancelTypingPath();
    } else {
        beginTypingPath();
    }
}

void FolderChooserModel::cancelTypingPath() {
    lookupRun_.drop();
    setLookingUp(false);
    setPathProblem({});
    setTypingPath(false);
}

void FolderChooserModel::setTypedPath(const QString& path) {
    if (path != typedPath_) {
        typedPath_ = path;
        // What is said about another path holds no more.
        lookupRun_.drop();
        setLookingUp(false);
        setPathProblem({});
        emit typedPathChanged();
    }
}

FolderChooserModel::Target FolderChooserModel::targetOf(const QString& typed) const {
    if (typed.startsWith(QLatin1String("file:"))) {
        if (const auto path = pathFromFileURL(QUrl(typed))) {
            return {.path = *path, .problem = {}};
        }
    }
    // The folder's own path is offered as text that may have lost bytes of it: where that text still
    // stands, the bytes are meant.
    const QString own = displayString(folder_);
    if (typed == own) {
        return {.path = folder_, .problem = {}};
    }
    const QString ownAndSlash = own.endsWith(QLatin1Char('/')) ? own : own + QLatin1Char('/');
    if (typed.startsWith(ownAndSlash)) {
        return {.path = standardizedPath(joinedPath(folder_, typed.mid(ownAndSlash.size()).toStdString())),
                .problem = {}};
    }
    const std::string text = typed.toStdString();
    if (text == "~" || text.starts_with("~/")) {
        return {.path = standardizedPath(homeDirectoryForCurrentUser() + text.substr(1)), .problem = {}};
    }
    if (text.starts_with('~')) {
        return {.path = {}, .problem = texts::otherUsersHome(typed)};
    }
    return {.path = standardizedPath(text.starts_with('/') ? text : joinedPath(folder_, text)),
            .problem = {}};
}

void FolderChooserModel::submitPath() {
    if (typedPath_.trimmed().isEmpty()) {
        cancelTypingPath();
        return;
    }
    const Target target = targetOf(typedPath_);
    if (!target.problem.isEmpty()) {
        setPathProblem(target.problem);
        return;
    }
    setPathProblem({});
    setLookingUp(true);
    // What is on screen stays until it is known that the path leads somewhere.
    lookupRun_ = lookupContext_.run<Found>(
        [dependencies = dependencies_, wanted = wantedFiles(), path = target.path](std::stop_token stop) {
            return find(dependencies, wanted, path, stop);
        },
        [this, target](Outcome<Found> outcome) { takeLookup(target, std::move(outcome)); });
}

// The folder of that path; where it is a file that is asked for, the folder that holds
// it. Throws CancellationError.
FolderChooserModel::Found FolderChooserModel::find(const Dependencies& dependencies,
                                                   const WantedFiles& wantsFile, const std::string& path,
                                                   const std::stop_token& stop) {
    const auto listed = [&](const std::string& folder) {
        return sortedListing(dependencies.listFolders, folder, wantsFile, stop, [](std::size_t) {});
    };
    Found found{.folder = path, .file = {}, .listing = listed(path)};
    if (found.listing.error != ENOTDIR || !wantsFile) {
        return found;
    }
    FolderListing beside = listed(std::string(parentPath(path)));
    const std::string name(lastPathComponent(path));
    if (std::ranges::find(beside.files, name) == beside.files.end()) {
        return found;
    }
    return {.folder = std::string(parentPath(path)), .file = name, .listing = std::move(beside)};
}

void FolderChooserModel::takeLookup(const Target& target, Outcome<Found> outcome) {
    setLookingUp(false);
    Found found;
    const int problem = errorOf([&] { found = std::move(outcome.get()); });
    if (problem != 0) {
        found.listing.error = problem;
    }
    if (found.listing.error != 0 && found.listing.names.empty() && found.listing.files.empty()) {
        setPathProblem(texts::typedPathProblem(question_, typedPath_, target.path, found.listing.error));
        return;
    }
    setTypingPath(false);
    cameFrom_.clear();
    // It is listed already; nothing that was begun for the folder before arrives any more.
    listRun_.drop();
    ++listing_;
    setFolder(found.folder);
    takeListing(std::move(found.listing));
    if (!found.file.empty()) {
        setShowsHiddenFolders(showsHiddenFolders_ || isHidden(found.file));
        setCurrentRow(rowOfName(found.file));
    }
}

void FolderChooserModel::setTypingPath(bool typing) {
    if (typing != isTypingPath_) {
        isTypingPath_ = typing;
        emit isTypingPathChanged();
    }
}

void FolderChooserModel::setLookingUp(bool looking) {
    if (looking != isLookingUp_) {
        isLookingUp_ = looking;
        emit isLookingUpChanged();
    }
}

void FolderChooserModel::setPathProblem(const QString& problem) {
    if (problem != pathProblem_) {
        pathProblem_ = problem;
        emit pathProblemChanged();
    }
}

// --- Typing a name

void FolderChooserModel::typeText(const QString& text) {
    if (!isTypingAhead() && (text == QLatin1String("/") || text == QLatin1String("~"))) {
        beginTypingPath(text);
        return;
    }
    const int row = typeAhead_.rowFor(text, currentRow_, rowCount(),
                                      [this](int each) -> std::string_view { return nameOf(each); });
    if (row >= 0) {
        setCurrentRow(row);
    }
}

// --- Rows

int FolderChooserModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant FolderChooserModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const std::string& name = nameOf(index.row());
    switch (role) {
        case Qt::DisplayRole:
        case NameRole:
            return displayString(name);
        case SpokenTextRole:
            return isFile(index.row()) ? texts::spokenFile(displayString(name), isHidden(name))
                                       : texts::spokenFolder(displayString(name), isHidden(name));
        case IsFileRole:
            return isFile(index.row());
        case IsCheckedRole:
            return choosesSeveral() && checked_.contains(pathOf(index.row()));
        case IsHiddenRole:
            return isHidden(name);
        default:
            return {};
    }
}

QHash<int, QByteArray> FolderChooserModel::roleNames() const {
    return {{NameRole, "name"},
            {SpokenTextRole, "spokenText"},
            {IsHiddenRole, "isHidden"},
            {IsFileRole, "isFile"},
            {IsCheckedRole, "isChecked"}};
}

}  // namespace larkfold

#include "shell/updates/UpdateManager.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QVariantMap>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "shell/updates/UpdateTexts.h"

namespace larkfold {

namespace {

// Seconds since 1970.
constexpr const char* kLastCheckKey = "lastUpdateCheck";
constexpr const char* kLastAnswerKey = "lastUpdateAnswer";
constexpr const char* kFeedDateKey = "updateFeedDate";

constexpr std::chrono::hours kBetweenChecks{24};
constexpr std::chrono::hours kBetweenLooks{1};
constexpr std::size_t kMostReleases = 10;

// Past the year 30000, or not since 1970: no date that this program wrote.
constexpr std::int64_t kLatestDate = 1'000'000'000'000;

QString address(const QUrl& url) {
    return url.isValid() ? url.toString(QUrl::FullyEncoded) : QString();
}

}  // namespace

UpdateManager::UpdateManager(MainQueue& mainQueue, UserDefaults& defaults, Dependencies dependencies,
                             QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      defaultsChanges_(defaults.observeChanges([this](const std::vector<std::string>& keys) {
          if (std::ranges::find(keys, automaticallyChecksKey) != keys.end()) {
              emit automaticallyChecksForUpdatesChanged();
          }
      })),
      dependencies_(std::move(dependencies)),
      fetcher_(dependencies_.fetching),
      context_(mainQueue, "updates") {
    connect(&hourly_, &QTimer::timeout, this, &UpdateManager::checkIfDue);
    hourly_.start(kBetweenLooks);
    QTimer::singleShot(0, this, &UpdateManager::checkIfDue);
}

UpdateManager::~UpdateManager() = default;

bool UpdateManager::automaticallyChecksForUpdates() const {
    return isEnabled() && defaults_.boolForKey(automaticallyChecksKey).value_or(false);
}

void UpdateManager::setAutomaticallyChecksForUpdates(bool automatically) {
    if (!isEnabled() || automatically == automaticallyChecksForUpdates()) {
        return;
    }
    // Where it cannot be saved it holds until the program ends, as every setting does.
    defaults_.setBool(automaticallyChecksKey, automatically);
    emit automaticallyChecksForUpdatesChanged();
    checkIfDue();
}

void UpdateManager::checkForUpdates() {
    if (canCheckForUpdates()) {
        begin();
    }
    // One that is under way by itself is shown as well: it is as fresh.
    setShowsCheck(isEnabled());
}

void UpdateManager::checkIfDue() {
    // What somebody reads just now is not taken away.
    if (automaticallyChecksForUpdates() && canCheckForUpdates() && !showsCheck_ && isDue()) {
        begin();
    }
}

bool UpdateManager::isDue() const {
    const auto last = stored(kLastCheckKey);
    // A time that is yet to come was written under another clock.
    return !last || dependencies_.now() < *last || dependencies_.now() - *last >= kBetweenChecks;
}

void UpdateManager::cancelCheck() {
    if (state_ == State::Checking) {
        fetcher_.cancel();
        reading_.drop();
        setState(State::Idle);
    }
}

void UpdateManager::begin() {
    // A check that fails counts as well, so that a server in trouble is not asked again and again.
    store(kLastCheckKey, dependencies_.now());
    failure_.clear();
    setPageProblem({});
    setState(State::Checking);
    fetcher_.fetch(*dependencies_.source,
                   [this](UpdateFetcher::Result result) { takeFetched(std::move(result)); });
}

void UpdateManager::takeFetched(UpdateFetcher::Result result) {
    if (const auto* failure = std::get_if<UpdateError>(&result)) {
        fail(failure->description());
        return;
    }
    reading_ = context_.run<Appcast>([read = dependencies_.read, source = *dependencies_.source,
                                      files = std::get<UpdateFetcher::Files>(std::move(result))](
                                         const std::stop_token& stop) { return read(source, files, stop); },
                                     [this](Outcome<Appcast> outcome) { takeRead(std::move(outcome)); });
}

void UpdateManager::takeRead(Outcome<Appcast> outcome) {
    try {
        judge(outcome.get());
    } catch (const Error& error) {
        fail(error.description());
    } catch (const std::exception&) {
        fail("The list of releases could not be read. Try again later.");
    }
}

void UpdateManager::fail(std::string reason) {
    failure_ = std::move(reason);
    setState(State::Failed);
}

void UpdateManager::judge(const Appcast& feed) {
    const auto known = stored(kFeedDateKey);
    if (known && (!feed.date || *feed.date < *known)) {
        throw UpdateError(UpdateError::Case::outdated);
    }
    if (feed.date) {
        // One that claims to be made later than now, by a mistake, must not keep
        // out the one that corrects it.
        store(kFeedDateKey, std::min(*feed.date, dependencies_.now()));
    }
    store(kLastAnswerKey, dependencies_.now());
    const auto own = AppVersion::parse(dependencies_.version);
    available_ = own ? feed.newerThan(*own, kMostReleases) : std::vector<Appcast::Item>();
    emit availableChanged();
    setState(available_.empty() ? State::UpToDate : State::Available);
}

void UpdateManager::setState(State state) {
    state_ = state;
    emit stateChanged();
}

void UpdateManager::setShowsCheck(bool shows) {
    if (!showsCheck_ && !shows) {
        return;
    }
    showsCheck_ = shows;
    emit showsCheckChanged();
    if (!shows) {
        setPageProblem({});
        cancelCheck();
    }
}

void UpdateManager::showAvailable() {
    if (state_ == State::Failed) {
        setState(State::Idle);  // what is known does not depend on how the latest check went
    }
    setShowsCheck(true);
}

QString UpdateManager::title() const {
    switch (state_) {
        case State::Checking:
            return texts::checkingForUpdates();
        case State::UpToDate:
            return texts::upToDate();
        case State::Available:
            return texts::updateAvailable(availableVersion());
        case State::Failed:
            return texts::checkFailed();
        case State::Idle:
            break;
    }
    return available_.empty() ? QString() : texts::updateAvailable(availableVersion());
}

QString UpdateManager::text() const {
    switch (state_) {
        case State::Checking:
            return disclosure();
        case State::UpToDate:
            return texts::newestVersion(QString::fromStdString(dependencies_.version));
        case State::Failed:
            return texts::nothingWasChanged(QString::fromStdString(failure_));
        case State::Available:
        case State::Idle:
            break;
    }
    return texts::currentVersion(QString::fromStdString(dependencies_.version));
}

QString UpdateManager::summary() const {
    if (!isEnabled()) {
        return texts::noFeed();
    }
    if (state_ == State::Checking) {
        return title();
    }
    // One that failed or was cancelled tells nothing about versions, and its reason is not
    // kept beyond the program's end.
    const auto last = stored(state_ == State::Idle ? kLastAnswerKey : kLastCheckKey);
    const QString when = last ? texts::lastChecked(*last) : texts::notCheckedYet();
    return state_ == State::Idle ? when : QStringLiteral("%1 %2.").arg(when, title());
}

QString UpdateManager::disclosure() const {
    return isEnabled() ? texts::whatACheckTells(dependencies_.source->feed().host()) : QString();
}

QString UpdateManager::availableVersion() const {
    return available_.empty() ? QString() : available_.front().name;
}

QVariantList UpdateManager::releases() const {
    QVariantList list;
    for (const Appcast::Item& item : available_) {
        list.append(QVariantMap{{QStringLiteral("name"), item.name}, {QStringLiteral("notes"), item.notes}});
    }
    return list;
}

QString UpdateManager::page() const {
    return available_.empty() ? QString() : address(available_.front().page);
}

QString UpdateManager::notesPage() const {
    return available_.empty() ? QString() : address(available_.front().notesPage);
}

QString UpdateManager::installationHint() const {
    return texts::updatesComeFrom(dependencies_.installation);
}

QString UpdateManager::installationCommand() const {
    return texts::updateCommand(dependencies_.installation);
}

void UpdateManager::openPage() {
    if (!available_.empty()) {
        open(available_.front().page);
    }
}

void UpdateManager::openNotesPage() {
    if (!available_.empty()) {
        open(available_.front().notesPage);
    }
}

void UpdateManager::open(const QUrl& url) {
    if (!url.isValid()) {
        return;
    }
    const bool isOpen = dependencies_.openPage ? dependencies_.openPage(url) : QDesktopServices::openUrl(url);
    setPageProblem(isOpen ? QString() : texts::pageNotOpened(address(url)));
}

void UpdateManager::setPageProblem(const QString& problem) {
    if (pageProblem_ != problem) {
        pageProblem_ = problem;
        emit pageProblemChanged();
    }
}

void UpdateManager::copyInstallationCommand() const {
    QGuiApplication::clipboard()->setText(installationCommand());
}

std::optional<Date> UpdateManager::stored(const char* key) const {
    const auto seconds = defaults_.integerForKey(key);
    return seconds && *seconds >= 0 && *seconds <= kLatestDate
               ? std::optional(dateFromSecondsSince1970(static_cast<double>(*seconds)))
               : std::nullopt;
}

void UpdateManager::store(const char* key, Date date) {
    // Where it cannot be saved a check is made once more than it had to be.
    defaults_.setInteger(key, static_cast<std::int64_t>(std::floor(secondsSince1970(date))));
}

}  // namespace larkfold

// Checks whether there is a newer version of this program, and tells what is new and where to get it. It
// never fetches the program itself and never replaces a file: that is up to whoever put the program there, a
// package manager or a person.
//
// A check asks a feed of releases on the makers' server (UpdateFetcher.h says what is sent), believes it only
// with the makers' signature and where it is not older than one that was believed before, and then compares
// versions. The user starts it, or, once the user has asked for that, the program by itself when it starts
// and then once a day. A program that was built without the address of a feed does not check at all.
//
// Main thread only; what was fetched is proved and read on a serial context.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariantList>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Date.h"
#include "platform/Installation.h"
#include "platform/MainQueue.h"
#include "platform/SerialContext.h"
#include "platform/UserDefaults.h"
#include "shell/updates/Appcast.h"
#include "shell/updates/BuildInformation.h"
#include "shell/updates/UpdateFetcher.h"
#include "shell/updates/UpdateSource.h"

namespace larkfold {

class UpdateManager : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY stateChanged)
    Q_PROPERTY(bool automaticallyChecksForUpdates READ automaticallyChecksForUpdates WRITE
                   setAutomaticallyChecksForUpdates NOTIFY automaticallyChecksForUpdatesChanged)
    // False where this build has no feed.
    Q_PROPERTY(bool isEnabled READ isEnabled CONSTANT)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    // What stands in the window of a check: what came of it, and what that means.
    Q_PROPERTY(QString title READ title NOTIFY stateChanged)
    Q_PROPERTY(QString text READ text NOTIFY stateChanged)
    // One line for the settings: when the last check was and what came of it, or why there is none.
    Q_PROPERTY(QString summary READ summary NOTIFY stateChanged)
    // What a check tells about the user, in a sentence.
    Q_PROPERTY(QString disclosure READ disclosure CONSTANT)
    // The newest version on offer, as the user reads it; empty while none is known.
    Q_PROPERTY(QString availableVersion READ availableVersion NOTIFY availableChanged)
    // What is new: maps with "name" and "notes", the newest first.
    Q_PROPERTY(QVariantList releases READ releases NOTIFY availableChanged)
    // Where to get it: the address of a page, empty where the feed names none, and for a program that
    // somebody else keeps up to date, who that is and the command for it.
    Q_PROPERTY(QString page READ page NOTIFY availableChanged)
    Q_PROPERTY(QString notesPage READ notesPage NOTIFY availableChanged)
    Q_PROPERTY(QString pageProblem READ pageProblem NOTIFY pageProblemChanged)
    Q_PROPERTY(QString installationHint READ installationHint CONSTANT)
    Q_PROPERTY(QString installationCommand READ installationCommand CONSTANT)
    Q_PROPERTY(bool showsCheck READ showsCheck WRITE setShowsCheck NOTIFY showsCheckChanged)

public:
    enum class State {
        Idle,  // nothing was checked since the start
        Checking,
        UpToDate,
        Available,
        Failed
    };
    Q_ENUM(State)

    // How the system is asked; the defaults are what the program uses.
    struct Dependencies {
        std::string version{buildInformation().version};  // of this program
        std::optional<UpdateSource> source =
            UpdateSource::make(buildInformation().updateFeed, buildInformation().updatePublicKey);
        UpdateFetcher::Dependencies fetching = {};
        // What the fetched files say, off the main thread. Throws what UpdateSource::read throws.
        std::function<Appcast(const UpdateSource&, const UpdateFetcher::Files&, const std::stop_token&)>
            read = [](const UpdateSource& from, const UpdateFetcher::Files& files,
                      const std::stop_token& stop) { return from.read(files.feed, files.signature, stop); };
        std::function<Date()> now = larkfold::now;
        Installation installation = currentInstallation();
        std::function<bool(const QUrl&)> openPage = nullptr;  // absent: the user's browser
    };

    // The user default that `automaticallyChecksForUpdates` stands under.
    static constexpr const char* automaticallyChecksKey = "automaticallyChecksForUpdates";

    // Starts the updater: where automatic checks are on and one is due, it begins with the event loop.
    // `mainQueue` and `defaults` outlive the manager.
    UpdateManager(MainQueue& mainQueue, UserDefaults& defaults, Dependencies dependencies,
                  QObject* parent = nullptr);
    ~UpdateManager() override;

    // False without a feed, and during a check.
    bool canCheckForUpdates() const { return isEnabled() && state_ != State::Checking; }
    // The user default "automaticallyChecksForUpdates"; off until the user asks for it.
    bool automaticallyChecksForUpdates() const;
    // Where it is turned on and a check is due, it begins now.
    void setAutomaticallyChecksForUpdates(bool automatically);
    // Checks, and shows in a window how that goes and what came of it. While that is not possible, nothing.
    Q_INVOKABLE void checkForUpdates();
    // The program's own checks, which disturb nobody: where one is due. Looked at every hour.
    void checkIfDue();
    Q_INVOKABLE void cancelCheck();

    bool isEnabled() const { return dependencies_.source.has_value(); }
    State state() const { return state_; }
    QString title() const;
    QString text() const;
    QString summary() const;
    QString disclosure() const;
    QString availableVersion() const;
    QVariantList releases() const;
    QString page() const;
    QString notesPage() const;
    QString installationHint() const;
    QString installationCommand() const;

    // The window of a check. Closing it ends a check that is under way.
    bool showsCheck() const { return showsCheck_; }
    void setShowsCheck(bool shows);
    // Shows what is known to be on offer, without a check.
    Q_INVOKABLE void showAvailable();
    // Each shows a page in the user's browser. Where that does not work, `pageProblem`
    // says so and names the address.
    Q_INVOKABLE void openPage();
    Q_INVOKABLE void openNotesPage();
    QString pageProblem() const { return pageProblem_; }
    Q_INVOKABLE void copyInstallationCommand() const;

signals:
    void stateChanged();
    void automaticallyChecksForUpdatesChanged();
    void availableChanged();
    void pageProblemChanged();
    // Also when it is asked for again while it is open.
    void showsCheckChanged();

private:
    void begin();
    // A check from its beginning to its end: what was fetched is read, what was read is judged.
    void takeFetched(UpdateFetcher::Result result);
    void takeRead(Outcome<Appcast> outcome);
    void judge(const Appcast& feed);
    void fail(std::string reason);
    void setState(State state);
    bool isDue() const;
    void open(const QUrl& url);
    void setPageProblem(const QString& problem);
    std::optional<Date> stored(const char* key) const;
    void store(const char* key, Date date);

    UserDefaults& defaults_;
    UserDefaults::Observation defaultsChanges_;
    Dependencies dependencies_;
    State state_ = State::Idle;
    bool showsCheck_ = false;
    std::string failure_;  // why the latest check failed, while it is the latest
    QString pageProblem_;
    std::vector<Appcast::Item> available_;  // the newest first
    QTimer hourly_;
    UpdateFetcher fetcher_;
    SerialContext context_;
    Run reading_;  // last: it drops the work before anything that it reports to
};

}  // namespace larkfold

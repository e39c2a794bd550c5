// The window's own folder chooser: where the user is, the folders in there, the places to start from, and
// what its button would choose. The rows are the folders in the current one, and behind them, where a file is
// asked for, the files of that kind.
//
// Where several folders are asked for, rows can be checked. What is checked stays so while the user goes on
// to other folders, so that places far from each other are chosen in one go; as long as nothing is checked,
// the highlighted row is the choice, as everywhere.
//
// Paths are bytes; a name that is not UTF-8 is shown with replacement characters and goes through unharmed.
// Folders are listed off the main thread, a listing stops as soon as the user leaves. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <QVariantList>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/FolderListing.h"
#include "platform/OpenPanel.h"
#include "platform/Path.h"
#include "platform/SerialContext.h"
#include "platform/UserLocation.h"
#include "shell/kit/CrumbListModel.h"
#include "shell/kit/TypeAhead.h"

namespace larkfold {

class FolderChooserModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window's folder chooser has the one there is.")

    // Where to start from, each {title, detail, icon}, and the one that the user is at; -1: none.
    Q_PROPERTY(QVariantList places READ places NOTIFY placesChanged)
    Q_PROPERTY(int currentPlace READ currentPlace NOTIFY currentPlaceChanged)

    // Where the user is.
    Q_PROPERTY(larkfold::CrumbListModel* crumbs READ crumbs CONSTANT)
    Q_PROPERTY(QString folderName READ folderName NOTIFY folderChanged)
    Q_PROPERTY(bool canGoUp READ canGoUp NOTIFY folderChanged)

    // What is in there. `isListing`: more may come. `isEmpty`: no rows, for the reason that the texts tell.
    Q_PROPERTY(bool isListing READ isListing NOTIFY listingChanged)
    Q_PROPERTY(QString listingText READ listingText NOTIFY listingChanged)
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY listingChanged)
    Q_PROPERTY(bool isUnreadable READ isUnreadable NOTIFY listingChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY listingChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY listingChanged)
    Q_PROPERTY(QString notice READ notice NOTIFY listingChanged)  // the list is not whole
    Q_PROPERTY(QString countText READ countText NOTIFY listingChanged)
    Q_PROPERTY(bool showsHiddenFolders READ showsHiddenFolders WRITE setShowsHiddenFolders NOTIFY
                   showsHiddenFoldersChanged)

    // The row that is highlighted; -1: none, then the folder itself is what would be chosen.
    Q_PROPERTY(int currentRow READ currentRow WRITE setCurrentRow NOTIFY currentRowChanged)
    Q_PROPERTY(bool canAccept READ canAccept NOTIFY choiceChanged)
    Q_PROPERTY(QString choiceText READ choiceText NOTIFY choiceChanged)
    Q_PROPERTY(QString spokenChoice READ spokenChoice NOTIFY choiceChanged)

    // What is asked for.
    Q_PROPERTY(bool choosesSeveral READ choosesSeveral NOTIFY questionChanged)
    Q_PROPERTY(bool choosesFiles READ choosesFiles NOTIFY questionChanged)
    Q_PROPERTY(QString choiceLabel READ choiceLabel NOTIFY questionChanged)
    Q_PROPERTY(QString listedText READ listedText NOTIFY questionChanged)  // which files are listed
    Q_PROPERTY(QString showHiddenText READ showHiddenText NOTIFY questionChanged)
    // How many folders are checked, in this folder and in others.
    Q_PROPERTY(int checkedCount READ checkedCount NOTIFY choiceChanged)

    // A path that is being typed instead.
    Q_PROPERTY(bool isTypingPath READ isTypingPath NOTIFY isTypingPathChanged)
    Q_PROPERTY(QString typedPath READ typedPath WRITE setTypedPath NOTIFY typedPathChanged)
    // How much of the offered text stays when the user types; the rest is selected.
    Q_PROPERTY(int typedPathKept READ typedPathKept NOTIFY pathOffered)
    Q_PROPERTY(bool isLookingUp READ isLookingUp NOTIFY isLookingUpChanged)
    Q_PROPERTY(QString pathProblem READ pathProblem NOTIFY pathProblemChanged)

public:
    enum Role { NameRole = Qt::UserRole + 1, SpokenTextRole, IsHiddenRole, IsFileRole, IsCheckedRole };

    // What the chooser is given; tests bring their own.
    struct Dependencies {
        MainQueue& mainQueue;  // outlives the model
        std::function<FolderListing(const std::string& path, const WantedFiles& wantsFile,
                                    std::stop_token stop, const std::function<void(std::size_t)>& report)>
            listFolders = [](const std::string& path, const WantedFiles& wantsFile, std::stop_token stop,
                             const std::function<void(std::size_t)>& report) {
                return larkfold::listFolders(path, wantsFile, std::move(stop), report);
            };
        std::function<std::vector<UserLocation>()> readPlaces = userLocations;
    };

    explicit FolderChooserModel(Dependencies dependencies, QObject* parent = nullptr);
    ~FolderChooserModel() override;

    // Begins a question: where the last one ended, the first time at `startFolder`.
    void begin(const std::string& startFolder, const OpenPanel::Question& question = {});
    // Ends it: nothing is read any more.
    void end();

    QVariantList places() const;
    int currentPlace() const;
    CrumbListModel* crumbs() { return &crumbs_; }
    // Absolute bytes.
    const std::string& folder() const { return folder_; }
    QString folderName() const;
    bool canGoUp() const;

    bool isListing() const { return isListing_; }
    QString listingText() const;
    bool isEmpty() const { return !isListing_ && shown_.empty(); }
    bool isUnreadable() const { return isEmpty() && error_ != 0; }
    QString emptyTitle() const;
    QString emptyText() const;
    QString notice() const;
    QString countText() const;
    bool showsHiddenFolders() const { return showsHiddenFolders_; }
    void setShowsHiddenFolders(bool shows);

    int currentRow() const { return currentRow_; }
    // A row out of range means none.
    void setCurrentRow(int row);
    // False where there is no such folder, as far as is known, and where a file is asked for
    // and none highlighted.
    bool canAccept() const;
    QString choiceText() const;
    QString spokenChoice() const;
    // What the button chooses, each once: absolute bytes. Empty where a file is asked for
    // and none highlighted.
    std::vector<std::string> choices() const;

    bool choosesSeveral() const { return question_.kind == OpenPanel::Kind::folders; }
    bool choosesFiles() const { return question_.kind == OpenPanel::Kind::file; }
    QString choiceLabel() const;
    QString listedText() const;
    QString showHiddenText() const;
    int checkedCount() const { return static_cast<int>(checked_.size()); }
    // Checks the row, or takes its check away. These do nothing where one thing alone is asked for, nor for a
    // row out of range.
    Q_INVOKABLE void toggleCheck(int row);
    // Highlights the row, and checks it and all between it and the one that was highlighted
    // or checked before.
    Q_INVOKABLE void checkThrough(int row);
    Q_INVOKABLE void checkAllRows();
    // In all folders.
    Q_INVOKABLE void clearChecks();

    bool isTypingPath() const { return isTypingPath_; }
    QString typedPath() const { return typedPath_; }
    void setTypedPath(const QString& path);
    int typedPathKept() const { return typedPathKept_; }
    bool isLookingUp() const { return isLookingUp_; }
    QString pathProblem() const { return pathProblem_; }

    // Where the user goes. Out of range: nowhere. A file is chosen.
    Q_INVOKABLE void open(int row);
    // Into the highlighted folder; where none is, what the button would choose is chosen.
    Q_INVOKABLE void activate();
    Q_INVOKABLE void goUp();
    Q_INVOKABLE void goToCrumb(int row);
    Q_INVOKABLE void goToPlace(int place);

    // Offers a path to type, beginning with that text; empty: with the folder's own path.
    Q_INVOKABLE void beginTypingPath(const QString& text = {});
    Q_INVOKABLE void cancelTypingPath();
    Q_INVOKABLE void toggleTypingPath();
    // Goes to the typed path, or says why not.
    Q_INVOKABLE void submitPath();

    // A character typed while the list has the keyboard: goes to the next row whose name begins with what was
    // typed within the last second. "/" and "~", which begin a path, offer to type one.
    Q_INVOKABLE void typeText(const QString& text);
    // Whether a name is being typed, so that a space belongs to it.
    Q_INVOKABLE bool isTypingAhead() const { return typeAhead_.isTyping(); }

    // The button: `accepted` follows where there is something to choose.
    Q_INVOKABLE void accept();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void accepted();
    // A path to type stands in `typedPath`, and the keyboard belongs there.
    void pathOffered();
    void placesChanged();
    void currentPlaceChanged();
    void folderChanged();
    void listingChanged();
    void showsHiddenFoldersChanged();
    void currentRowChanged();
    void choiceChanged();
    void questionChanged();
    void isTypingPathChanged();
    void typedPathChanged();
    void isLookingUpChanged();
    void pathProblemChanged();

private:
    struct Target {
        std::string path;
        QString problem;  // why the text names no path at all; empty where it does
    };

    void goTo(const std::string& path);
    void enter(const std::string& path);
    void setFolder(const std::string& path);
    void list();
    void takeListing(FolderListing listing);
    struct Found;
    static Found find(const Dependencies& dependencies, const WantedFiles& wantsFile, const std::string& path,
                      const std::stop_token& stop);
    void takeLookup(const Target& target, Outcome<Found> outcome);
    void showRows();
    void readPlaces();
    const std::string& nameOf(int row) const;
    std::string pathOf(int row) const { return joinedPath(folder_, nameOf(row)); }
    bool isFile(int row) const { return shown_[static_cast<std::size_t>(row)] >= folderCount_; }
    WantedFiles wantedFiles() const;
    void setChecked(int first, int last, bool isChecked);
    int rowOfName(const std::string& name) const;
    Target targetOf(const QString& typed) const;
    void setTypingPath(bool typing);
    void setLookingUp(bool looking);
    void setPathProblem(const QString& problem);

    Dependencies dependencies_;
    std::vector<UserLocation> places_;
    CrumbListModel crumbs_;
    std::string folder_;
    std::string cameFrom_;  // the name of the child that the user left upwards; highlighted once it is listed

    OpenPanel::Question question_;
    std::set<std::string> checked_;  // paths; of folders anywhere
    int rangeStart_ = -1;            // the row that a range begins at; -1: none

    // Of all folders in there, and behind them of all files, both ordered as the user's language orders.
    std::vector<std::string> names_;
    std::size_t folderCount_ = 0;
    std::vector<std::uint32_t> shown_;  // which of them are rows
    int error_ = 0;
    bool isListing_ = false;
    std::size_t entriesSeen_ = 0;
    bool showsHiddenFolders_ = false;
    int currentRow_ = -1;

    bool isTypingPath_ = false;
    QString typedPath_;
    int typedPathKept_ = 0;
    bool isLookingUp_ = false;
    QString pathProblem_;

    TypeAhead typeAhead_;

    std::uint64_t listing_ = 0;  // tells a late report of an earlier listing
    SerialContext placesContext_;
    SerialContext listContext_;
    SerialContext lookupContext_;
    // Last: their end drops the work before anything that it reports to.
    Run placesRun_;
    Run listRun_;
    Run lookupRun_;
};

}  // namespace larkfold

// The window's own folder chooser: where the user is, the folders in there, the places to start from, and
// what "Open" would choose. The rows are the folders in the current one.
//
// Paths are bytes; a name that is not UTF-8 is shown with replacement characters and goes through unharmed.
// Folders are listed off the main thread, a listing stops as soon as the user leaves. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QElapsedTimer>
#include <QString>
#include <QVariantList>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/FolderListing.h"
#include "platform/SerialContext.h"
#include "platform/UserLocation.h"
#include "shell/kit/CrumbListModel.h"

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

    // A path that is being typed instead.
    Q_PROPERTY(bool isTypingPath READ isTypingPath NOTIFY isTypingPathChanged)
    Q_PROPERTY(QString typedPath READ typedPath WRITE setTypedPath NOTIFY typedPathChanged)
    // How much of the offered text stays when the user types; the rest is selected.
    Q_PROPERTY(int typedPathKept READ typedPathKept NOTIFY pathOffered)
    Q_PROPERTY(bool isLookingUp READ isLookingUp NOTIFY isLookingUpChanged)
    Q_PROPERTY(QString pathProblem READ pathProblem NOTIFY pathProblemChanged)

public:
    enum Role { NameRole = Qt::UserRole + 1, SpokenTextRole, IsHiddenRole };

    // What the chooser is given; tests bring their own.
    struct Dependencies {
        MainQueue& mainQueue;  // outlives the model
        std::function<FolderListing(const std::string& path, std::stop_token stop,
                                    const std::function<void(std::size_t)>& report)>
            listFolders = [](const std::string& path, std::stop_token stop,
                             const std::function<void(std::size_t)>& report) {
                return larkfold::listFolders(path, std::move(stop), report);
            };
        std::function<std::vector<UserLocation>()> readPlaces = userLocations;
    };

    explicit FolderChooserModel(Dependencies dependencies, QObject* parent = nullptr);
    ~FolderChooserModel() override;

    // Begins a question: where the last one ended, the first time at `startFolder`.
    void begin(const std::string& startFolder);
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
    // False where there is no such folder, as far as is known.
    bool canAccept() const;
    QString choiceText() const;
    // What "Open" chooses: absolute bytes.
    std::string choice() const;

    bool isTypingPath() const { return isTypingPath_; }
    QString typedPath() const { return typedPath_; }
    void setTypedPath(const QString& path);
    int typedPathKept() const { return typedPathKept_; }
    bool isLookingUp() const { return isLookingUp_; }
    QString pathProblem() const { return pathProblem_; }

    // Where the user goes. Out of range: nowhere.
    Q_INVOKABLE void open(int row);
    // Into the highlighted folder; where none is, the folder itself is chosen.
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
    Q_INVOKABLE bool isTypingAhead() const;

    // "Open": `accepted` follows where there is something to choose.
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
    void takeLookup(const Target& target, Outcome<FolderListing> outcome);
    void showRows();
    void readPlaces();
    const std::string& nameOf(int row) const;
    int typeAhead(const QString& text);
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

    std::vector<std::string> names_;    // of all folders in there, ordered as the user's language orders
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

    QString typed_;
    QElapsedTimer sinceTyped_;

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

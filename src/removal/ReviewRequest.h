// The review that a driver asks for before it removes anything: being prepared, then a proposal that the user
// decides about. The window's sheet attaches to it and knows nothing else of the driver. It removes nothing.
//
// Main thread only.
#pragma once

#include <QObject>
#include <cstdint>
#include <functional>
#include <string>

#include "removal/CleanupReview.h"

namespace larkfold {

class ReviewRequest : public QObject {
    Q_OBJECT

public:
    // How far the preparation is.
    struct Progress {
        std::int64_t checked = 0;
        std::int64_t total = 0;
        std::string awaited = {};  // the path that the disk is being asked for

        bool operator==(const Progress&) const = default;
    };

    struct Proposal {
        CleanupReview::ShownPointer shown;
        CleanupReview::Options options = {};
        // Called at most once, after the sheet has closed: the user has decided so.
        std::function<void(bool permanently)> onConfirm = nullptr;
        // Takes one item out of what is proposed, by its path, and gives what is shown from then on. Null
        // where the driver has no selection that an item can be taken out of.
        std::function<CleanupReview::ShownPointer(const std::string& url)> drop = nullptr;
    };

    using QObject::QObject;

    bool isOpen() const { return isOpen_; }
    const Progress& progress() const { return progress_; }

    // The driver's side: asked for and not there yet, how far that is, there, and taken back. A proposal may
    // come without a preparation.
    void prepare();
    void setProgress(Progress progress);
    void propose(Proposal proposal);
    // Also the sheet's side, when it was closed. Does nothing where nothing is open.
    void close();

signals:
    void preparing();
    void progressChanged();
    void proposed(const larkfold::ReviewRequest::Proposal& proposal);
    void closed();

private:
    bool isOpen_ = false;
    Progress progress_;
};

}  // namespace larkfold

#include "disk/IndexRefresh.h"

#include <utility>

#include "disk/DiskScanner.h"
#include "disk/MissingFolderFailure.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/FolderState.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/Presence.h"
#include "platform/UUID.h"
#include "removal/PathRules.h"

namespace larkfold {

namespace {

constexpr const char* notFullyRead =
    "The changed folder could not be fully read. Its previous index was preserved.";

}  // namespace

// The index of one folder while it waits to be merged. Gone with its last owner.
class IndexRefresh::Temporary {
public:
    explicit Temporary(const std::string& indexURL)
        : url_(joinedPath(parentPath(indexURL), "refresh-" + UUID::make().text() + ".sqlite")) {}
    ~Temporary() {
        // A failure is of no account: an orphan is harmless.
        for (const char* suffix : {"", "-journal"}) {
            try {
                own_files::removeFile(url_ + suffix);
            } catch (const SystemError&) {
            }
        }
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    const std::string& url() const { return url_; }

private:
    std::string url_;
};

IndexRefresh::IndexRefresh(SerialContext& scanContext, SerialContext& indexContext, Request request,
                           OptionsMaker makeOptions, std::function<void(Outcome<ScanResult>)> finished)
    : scanContext_(scanContext),
      indexContext_(indexContext),
      request_(std::move(request)),
      finished_(std::move(finished)) {
    request_.folders = removal_rules::collapseNested(request_.folders);
    expected_.root = request_.root;
    run_ = indexContext_.run<ExpectedScan>(
        [index = request_.indexURL, expected = expected_, began = began_](std::stop_token stop) {
            *began = watchBeginningNow();
            return SavedScanLoader::header(index, expected, std::move(stop));
        },
        [this, make = std::move(makeOptions)](Outcome<ExpectedScan> saved) {
            try {
                expected_.skipsHiddenFiles = saved.get().skipsHiddenFiles;
                options_ = make(expected_.skipsHiddenFiles.value_or(false));
            } catch (...) {
                fail(std::current_exception());
                return;
            }
            lookAtRoot(false, [this] { nextFolder(); });
        });
}

IndexRefresh::~IndexRefresh() = default;

void IndexRefresh::cancel() {
    isCancelled_ = true;
    run_.cancel();
}

void IndexRefresh::lookAtRoot(bool mustStand, std::function<void()> next) {
    auto holdsNothing = std::make_shared<bool>(false);  // written by the work, read when it is over
    run_ = scanContext_.run<bool>(
        [root = request_.root, holdsNothing, mustStand](std::stop_token stop) {
            const FolderState state = folderStateOf(root, std::move(stop));
            if (mustStand && state == FolderState::unknown) {
                throw ScanIndexDatabase::Failure(notFullyRead);
            }
            *holdsNothing = state == FolderState::missing || state == FolderState::empty;
            return true;
        },
        then([this, holdsNothing, next = std::move(next)] {
            if (*holdsNothing) {
                request_.folders = {request_.root};
                next_ = 0;
                nextFolder();
            } else {
                next();
            }
        }));
}

void IndexRefresh::nextFolder() {
    if (isCancelled_) {
        fail(std::make_exception_ptr(CancellationError()));
        return;
    }
    if (next_ == request_.folders.size()) {
        loadTree();
        return;
    }
    const std::string folder = request_.folders[next_++];
    auto temporary = std::make_shared<Temporary>(request_.indexURL);
    auto hasGone = std::make_shared<bool>(false);  // written by the work, read when it is over
    const bool isRoot = standardizedPath(folder) == standardizedPath(request_.root);
    run_ = scanContext_.run<bool>(
        [folder, temporary, hasGone, options = options_, isRoot](std::stop_token stop) {
            const Presence presence = presenceOf(folder, stop);
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            // Below the root a link is left out of a scan; its target has rows of its own or none.
            if (presence == Presence::missing || (presence == Presence::isLink && !isRoot)) {
                *hasGone = true;
                return true;
            }
            bool isRead = presence != Presence::unknown;
            if (isRead) {
                const ScanResult result =
                    DiskScanner(temporary->url()).scan(folder, options, std::move(stop));
                // The root's errors are kept in the index; a folder's would take the
                // place of a complete record.
                isRead = isRoot || result.errors.empty();
            }
            if (!isRead) {
                throw ScanIndexDatabase::Failure(notFullyRead);
            }
            return true;
        },
        then([this, folder, temporary, hasGone, isRoot] {
            if (!*hasGone) {
                takeIn(temporary);
            } else if (isRoot) {
                isRootMissing_ = true;
                takeOut(folder);
            } else {
                // Only with the root still there: a drive may have been unplugged just now.
                lookAtRoot(true, [this, folder] { takeOut(folder); });
            }
        }));
}

void IndexRefresh::takeIn(const std::shared_ptr<Temporary>& temporary) {
    run_ = indexContext_.run<bool>(
        [index = request_.indexURL, temporary, expected = expected_](std::stop_token stop) {
            SavedScanLoader::merge(index, temporary->url(), std::move(stop), expected);
            return true;
        },
        then([this] { nextFolder(); }));
}

void IndexRefresh::takeOut(const std::string& folder) {
    run_ = indexContext_.run<bool>(
        [index = request_.indexURL, folder, expected = expected_](std::stop_token stop) {
            SavedScanLoader::removeFolder(index, folder, std::move(stop), expected);
            return true;
        },
        then([this] { nextFolder(); }));
}

void IndexRefresh::loadTree() {
    run_ = indexContext_.run<ScanResult>(
        [index = request_.indexURL, expected = expected_](std::stop_token stop) {
            return SavedScanLoader::load(index, std::nullopt, std::move(stop), expected);
        },
        [finished = finished_](Outcome<ScanResult> outcome) { finished(std::move(outcome)); });
}

std::function<void(Outcome<bool>)> IndexRefresh::then(std::function<void()> next) {
    return [this, next = std::move(next)](Outcome<bool> outcome) {
        try {
            outcome.get();
        } catch (...) {
            fail(std::current_exception());
            return;
        }
        next();
    };
}

void IndexRefresh::fail(std::exception_ptr failure) {
    if (isRootMissing_ && !isCancelled_) {
        // The text is that of the index, which lets its root go in no way; the kind tells what to do.
        failure = std::make_exception_ptr(MissingFolderFailure(descriptionOf(failure)));
    }
    const auto finished = finished_;  // may end this object
    finished(Outcome<ScanResult>(std::move(failure)));
}

}  // namespace larkfold

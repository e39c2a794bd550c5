#include "disk/RescanCheck.h"

#include <utility>

#include "disk/FolderCheck.h"
#include "disk/MissingFolderFailure.h"
#include "platform/Bookmark.h"
#include "platform/Collation.h"
#include "platform/Error.h"
#include "platform/Path.h"

namespace larkfold {

struct RescanCheck::Answer {
    FolderCheck check;
    bool isRefused = false;
};

RescanCheck::RescanCheck(SerialContext& context, QObject* parent) : QObject(parent), context_(context) {}

RescanCheck::~RescanCheck() {
    dropRuns();
}

void RescanCheck::setLooking(bool looking) {
    if (looking != isLooking_) {
        isLooking_ = looking;
        emit changed();
    }
}

void RescanCheck::begin(const Folder& folder, Start start,
                        std::function<void(std::optional<DiskFailure>)> refuse) {
    forgetQuestion();
    path_ = folder.path;
    isCancelled_ = false;
    setLooking(true);
    run_ = context_.run<Answer>(
        [folder](std::stop_token stop) {
            Answer answer{.check = FolderCheck::of(folder.path, folder.indexURL, std::move(stop))};
            answer.isRefused = answer.check.state != FolderState::missing && folder.needsPermission &&
                               !startAccessingSecurityScopedResource(folder.path);
            return answer;
        },
        [this, folder, start = std::move(start), refuse = std::move(refuse)](Outcome<Answer> outcome) {
            run_ = Run();
            std::optional<DiskFailure> failure;
            std::int64_t savedFiles = 0;
            try {
                const Answer answer = outcome.get();
                if (isCancelled_) {
                    throw CancellationError();  // the answer was on its way
                }
                if (answer.check.state == FolderState::missing) {
                    throw MissingFolderFailure("“" + displayText(folder.path) + "” is not there.");
                }
                if (answer.isRefused) {
                    failure = DiskFailure{.kind = DiskFailure::Kind::access,
                                          .text =
                                              "Larkfold needs permission to reopen this saved folder. "
                                              "Please choose it again."};
                } else if (answer.check.wouldEmptyIndex()) {
                    savedFiles = answer.check.savedFiles;
                }
            } catch (...) {
                failure = DiskFailure::of(std::current_exception());
            }
            // Whoever shows a scan under way does not take the question to the disk for one, at either end.
            if (!failure && savedFiles == 0) {
                setLooking(false);
                start(false);
                return;
            }
            refuse(failure);
            setLooking(false);
            if (!failure) {
                ask(folder.path, savedFiles, start);
            }
        });
}

void RescanCheck::cancel() {
    isCancelled_ = true;
    run_.cancel();
}

void RescanCheck::ask(const std::string& path, std::int64_t savedFiles, Start start) {
    path_ = path;
    savedFiles_ = savedFiles;
    start_ = std::move(start);
    emit changed();
}

void RescanCheck::keepSavedScan() {
    forgetQuestion();
}

void RescanCheck::replaceSavedScan() {
    if (const Start start = std::exchange(start_, nullptr)) {
        emit changed();
        start(true);
    }
}

void RescanCheck::forgetQuestion() {
    if (start_) {
        start_ = nullptr;
        emit changed();
    }
}

QString RescanCheck::question() const {
    const std::string files = savedFiles_ == 1 ? "1 file" : groupedCount(savedFiles_) + " files";
    return QString::fromStdString("“" + displayText(lastPathComponent(path_)) +
                                  "” holds nothing any more, and its saved scan has " + files +
                                  ". If it lies on a drive that is not connected, connect the drive and try "
                                  "again.");
}

}  // namespace larkfold

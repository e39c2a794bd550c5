// Stands before a scan that would replace the saved scan of the same folder: asks the disk whether the folder
// is there, and the user where it holds nothing any more. Until then map and saved scan stay.
//
// Part of the disk tab's driver. Main thread only; what the disk is asked runs on a serial context.
#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "disk/DiskFailure.h"
#include "platform/SerialContext.h"

namespace larkfold {

class RescanCheck : public QObject {
    Q_OBJECT
    // The disk is being asked; a scan counts as under way.
    Q_PROPERTY(bool isLooking READ isLooking NOTIFY changed)
    // The user is asked whether the saved scan of a folder that is empty now may go.
    Q_PROPERTY(bool asksUser READ asksUser NOTIFY changed)
    Q_PROPERTY(QString question READ question NOTIFY changed)

public:
    // `mayEmptyIndex`: the user wants it, although the saved scan has files.
    using Start = std::function<void(bool mayEmptyIndex)>;

    struct Folder {
        std::string path;
        std::string indexURL;
        bool needsPermission = false;  // it was chosen in an earlier run
    };

    // The context outlives it.
    explicit RescanCheck(SerialContext& context, QObject* parent = nullptr);
    ~RescanCheck() override;

    // Asks about the folder, then calls one of these: `start` where nothing speaks against it, otherwise
    // `refuse`. Without a failure the user is being asked, and `start` comes if they agree.
    void begin(const Folder& folder, Start start, std::function<void(std::optional<DiskFailure>)> refuse);
    void cancel();
    void dropRuns() { run_.drop(); }

    // A scan or a refresh has found the folder empty: the user is asked, and `start` called if they agree.
    void ask(const std::string& path, std::int64_t savedFiles, Start start);
    Q_INVOKABLE void keepSavedScan();
    Q_INVOKABLE void replaceSavedScan();
    // What was asked about is not on screen any more.
    void forgetQuestion();

    bool isLooking() const { return isLooking_; }
    bool asksUser() const { return start_ != nullptr; }
    QString question() const;
    const std::string& path() const { return path_; }

signals:
    void changed();

private:
    struct Answer;

    void setLooking(bool looking);

    SerialContext& context_;
    std::string path_;
    bool isLooking_ = false;
    bool isCancelled_ = false;
    std::int64_t savedFiles_ = 0;
    Start start_;
    Run run_;
};

}  // namespace larkfold

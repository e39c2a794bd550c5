// The preferences of the program as the settings window shows them: read from the user defaults at each use,
// set at each change. Whoever works by them reads the defaults when a piece of work begins, so a change
// holds from the next scan on.
//
// Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <set>
#include <string>

#include "platform/UserDefaults.h"

namespace larkfold {

class Settings : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(
        bool skipHiddenFiles READ skipHiddenFiles WRITE setSkipHiddenFiles NOTIFY skipHiddenFilesChanged)
    Q_PROPERTY(qint64 minimumDuplicateSize READ minimumDuplicateSize WRITE setMinimumDuplicateSize NOTIFY
                   minimumDuplicateSizeChanged)
    // What there is to choose from: maps with "title" and "bytes".
    Q_PROPERTY(QVariantList duplicateSizes READ duplicateSizes CONSTANT)
    // Which of them it is; -1 for a size that is none of them.
    Q_PROPERTY(
        int minimumDuplicateSizeIndex READ minimumDuplicateSizeIndex NOTIFY minimumDuplicateSizeChanged)
    // The size in words, for one that is not among the choices.
    Q_PROPERTY(
        QString minimumDuplicateSizeText READ minimumDuplicateSizeText NOTIFY minimumDuplicateSizeChanged)
    Q_PROPERTY(bool showResetOnboardingAlert READ showResetOnboardingAlert WRITE setShowResetOnboardingAlert
                   NOTIFY showResetOnboardingAlertChanged)
    // Why the latest change was not saved; empty where it was.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    // `defaults` outlives the settings.
    explicit Settings(UserDefaults& defaults, QObject* parent = nullptr);

    // The user default "skipHiddenFiles"; true where it is missing or no Boolean.
    bool skipHiddenFiles() const;
    void setSkipHiddenFiles(bool skips);
    // The user default "minimumDuplicateSize" in bytes; 10,240 where it is missing,
    // no integer, or less than 1.
    qint64 minimumDuplicateSize() const;
    void setMinimumDuplicateSize(qint64 bytes);
    static QVariantList duplicateSizes();
    int minimumDuplicateSizeIndex() const;
    QString minimumDuplicateSizeText() const;

    // "Show Onboarding Again" asks first.
    bool showResetOnboardingAlert() const { return showResetOnboardingAlert_; }
    void setShowResetOnboardingAlert(bool shows);
    // The answer "Reset": the first run's pages come at the next start.
    Q_INVOKABLE void resetOnboarding();

    QString errorText() const { return errorText_; }
    Q_INVOKABLE void dismissError();

    // Somebody else may have changed the defaults.
    void readAgain();

signals:
    void skipHiddenFilesChanged();
    void minimumDuplicateSizeChanged();
    void showResetOnboardingAlertChanged();
    void errorTextChanged();

private:
    void noteSave(const UserDefaults::Save& save);
    void setErrorText(const QString& text);

    UserDefaults& defaults_;
    // What was signalled last.
    bool toldSkipHiddenFiles_;
    qint64 toldMinimumDuplicateSize_;
    bool showResetOnboardingAlert_ = false;
    QString errorText_;
    // The keys that are changed in the settings window: who stands before it is told where one was not saved.
    std::set<std::string> setHere_;
    UserDefaults::Observation saves_;
    UserDefaults::Observation changes_;
};

}  // namespace larkfold

#include "shell/app/Settings.h"

#include <QVariantMap>
#include <algorithm>
#include <array>

#include "shell/kit/FigureTexts.h"
#include "shell/updates/UpdateManager.h"

namespace larkfold {

namespace {

constexpr const char* kSkipHiddenFilesKey = "skipHiddenFiles";
constexpr const char* kMinimumDuplicateSizeKey = "minimumDuplicateSize";
constexpr const char* kHasCompletedOnboardingKey = "hasCompletedOnboarding";

constexpr qint64 kUsualDuplicateSize = 10'240;

struct Choice {
    const char* title;
    qint64 bytes;
};

constexpr std::array kDuplicateSizes{
    Choice{.title = "1 KB", .bytes = 1'024},       Choice{.title = "10 KB", .bytes = 10'240},
    Choice{.title = "100 KB", .bytes = 102'400},   Choice{.title = "1 MB", .bytes = 1'048'576},
    Choice{.title = "10 MB", .bytes = 10'485'760},
};

QString settingNotSaved(const QString& reason) {
    return QStringLiteral("The setting could not be saved and holds until you quit Larkfold. %1").arg(reason);
}

}  // namespace

Settings::Settings(UserDefaults& defaults, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      toldSkipHiddenFiles_(skipHiddenFiles()),
      toldMinimumDuplicateSize_(minimumDuplicateSize()),
      setHere_{std::string(UpdateManager::automaticallyChecksKey)},
      saves_(defaults.observeSaves([this](const UserDefaults::Save& save) { noteSave(save); })),
      changes_(defaults.observeChanges([this](const std::vector<std::string>&) { readAgain(); })) {}

bool Settings::skipHiddenFiles() const {
    return defaults_.boolForKey(kSkipHiddenFilesKey).value_or(true);
}

void Settings::setSkipHiddenFiles(bool skips) {
    if (skips == skipHiddenFiles()) {
        return;
    }
    defaults_.setBool(kSkipHiddenFilesKey, skips);
    setHere_.insert(kSkipHiddenFilesKey);
    readAgain();
}

qint64 Settings::minimumDuplicateSize() const {
    const auto bytes = defaults_.integerForKey(kMinimumDuplicateSizeKey);
    return bytes && *bytes >= 1 ? *bytes : kUsualDuplicateSize;
}

void Settings::setMinimumDuplicateSize(qint64 bytes) {
    if (bytes < 1 || bytes == minimumDuplicateSize()) {
        return;
    }
    defaults_.setInteger(kMinimumDuplicateSizeKey, bytes);
    setHere_.insert(kMinimumDuplicateSizeKey);
    readAgain();
}

QVariantList Settings::duplicateSizes() {
    QVariantList list;
    for (const Choice& choice : kDuplicateSizes) {
        list.append(QVariantMap{{QStringLiteral("title"), QString::fromUtf8(choice.title)},
                                {QStringLiteral("bytes"), choice.bytes}});
    }
    return list;
}

int Settings::minimumDuplicateSizeIndex() const {
    const auto* const place = std::ranges::find(kDuplicateSizes, minimumDuplicateSize(), &Choice::bytes);
    return place == kDuplicateSizes.end() ? -1 : static_cast<int>(place - kDuplicateSizes.begin());
}

QString Settings::minimumDuplicateSizeText() const {
    return texts::bytes(minimumDuplicateSize());
}

void Settings::setShowResetOnboardingAlert(bool shows) {
    if (showResetOnboardingAlert_ != shows) {
        showResetOnboardingAlert_ = shows;
        emit showResetOnboardingAlertChanged();
    }
}

void Settings::resetOnboarding() {
    setShowResetOnboardingAlert(false);
    defaults_.setBool(kHasCompletedOnboardingKey, false);
    setHere_.insert(kHasCompletedOnboardingKey);
}

void Settings::dismissError() {
    setErrorText({});
}

void Settings::readAgain() {
    if (toldSkipHiddenFiles_ != skipHiddenFiles()) {
        toldSkipHiddenFiles_ = skipHiddenFiles();
        emit skipHiddenFilesChanged();
    }
    if (toldMinimumDuplicateSize_ != minimumDuplicateSize()) {
        toldMinimumDuplicateSize_ = minimumDuplicateSize();
        emit minimumDuplicateSizeChanged();
    }
}

void Settings::noteSave(const UserDefaults::Save& save) {
    const auto isSetHere = [this](const std::string& key) { return setHere_.contains(key); };
    if (!save.problem) {
        if (std::ranges::any_of(save.keys, isSetHere)) {
            setErrorText({});
        }
    } else if (std::ranges::any_of(save.newKeys, isSetHere)) {
        // Said once for each change: later attempts carry it along.
        setErrorText(settingNotSaved(QString::fromStdString(*save.problem)));
    }
}

void Settings::setErrorText(const QString& text) {
    if (errorText_ != text) {
        errorText_ = text;
        emit errorTextChanged();
    }
}

}  // namespace larkfold

#include "shell/disk/DiskCommands.h"

#include <array>

#include "shell/disk/DiskSpaceTab.h"
#include "shell/disk/DiskSpaceTexts.h"

namespace larkfold {

namespace {

using Menu = Command::Menu;
using Driver = DiskScannerViewModel;

// What is under way, of which there is one at a time.
QString underWay(const Driver& driver) {
    if (driver.isForgetting()) {
        return QStringLiteral("The saved scan is being forgotten.");
    }
    if (driver.isDeleting()) {
        return QStringLiteral("A removal is under way.");
    }
    if (driver.isRefreshingIndex()) {
        return QStringLiteral("A refresh is under way.");
    }
    if (driver.isRestoring()) {
        return QStringLiteral("The saved scan is being opened.");
    }
    return driver.isScanning() ? QStringLiteral("A scan is under way.") : QString();
}

QString unless(bool can, const char* reason) {
    return can ? QString() : QString::fromLatin1(reason);
}

}  // namespace

DiskCommands::DiskCommands(DiskScannerViewModel& driver, DiskSpaceTab& tab)
    : driver_(driver),
      tab_(tab),
      busyReason_(underWay(driver)),
      scanFolder_({.menu = Menu::File,
                   .text = QStringLiteral("Scan Folder…"),
                   .iconName = QStringLiteral("folder"),
                   .shortcut = QStringLiteral("Ctrl+O"),
                   .state = [this] { return begins(); },
                   .act = [&tab] { tab.scanFolder(); }}),
      // Whoever listens asks for full access first.
      scanDisk_({.text = QStringLiteral("Scan Entire Disk"),
                 .iconName = QStringLiteral("disk"),
                 .state = [this] { return begins(); }}),
      newScan_({.text = QStringLiteral("New Scan"),
                .iconName = QStringLiteral("plus"),
                .shortcut = QStringLiteral("Ctrl+N"),
                .state = [this] { return begins(); }}),
      cancelScan_({.text = QStringLiteral("Cancel Scan"),
                   .iconName = QStringLiteral("stop"),
                   .shortcut = QStringLiteral("Ctrl+."),
                   .state =
                       [this] {
                           return Command::State{.whyNot =
                                                     unless(driver_.isScanning() || driver_.isForgetting(),
                                                            "No scan is under way.")};
                       },
                   .act = [this] { driver_.cancelScan(); }}),
      refreshChanged_({.menu = Menu::File,
                       .text = texts::changedFolders(0),
                       .iconName = QStringLiteral("refresh"),
                       .shortcut = QStringLiteral("F5"),
                       .state =
                           [this] {
                               Command::State state = begins([this] {
                                   return ofTheMap(driver_.changedFolderCount() > 0,
                                                   "No folder is known to have changed.");
                               });
                               state.text = texts::changedFolders(driver_.changedFolderCount());
                               return state;
                           },
                       .act = [this] { driver_.refreshIndex(false); }}),
      refreshCurrent_({.menu = Menu::File,
                       .text = QStringLiteral("Current folder"),
                       .iconName = QStringLiteral("folder"),
                       .shortcut = QStringLiteral("Shift+F5"),
                       .state =
                           [this] {
                               return begins([this] {
                                   return ofTheMap(driver_.hasSavedIndex(),
                                                   "There is no saved scan to bring up to date.");
                               });
                           },
                       .act = [this] { driver_.refreshIndex(true); }}),
      scanAgain_({.menu = Menu::File,
                  .text = QStringLiteral("Scan Everything Again"),
                  .iconName = QStringLiteral("disk"),
                  .shortcut = QStringLiteral("Ctrl+Shift+F5"),
                  .state = [this] { return begins([this] { return ofTheMap(true, ""); }); },
                  .act = [this] { driver_.rescanCurrent(); }}),
      // Whoever listens asks the user first.
      forget_({.menu = Menu::File,
               .text = QStringLiteral("Forget saved scan…"),
               .shortcut = QStringLiteral("Ctrl+Shift+W"),
               .state =
                   [this] {
                       return begins(
                           [this] { return unless(driver_.hasSavedIndex(), "There is no saved scan."); });
                   }}),
      review_({.text = QStringLiteral("Delete Selected"),
               .iconName = QStringLiteral("trash"),
               .state =
                   [this] {
                       return begins([this] {
                           return unless(driver_.hasScanResult() && driver_.markedTotals().items > 0,
                                         "Nothing is marked.");
                       });
                   },
               .act = [&tab] { tab.review(); }}),
      clearMarks_({.text = QStringLiteral("Clear Marks"),
                   .state =
                       [this] {
                           return begins([this] {
                               return unless(driver_.markedTotals().items > 0, "Nothing is marked.");
                           });
                       },
                   .act = [this] { driver_.clearSelection(); }}),
      all_{&scanFolder_,     &scanDisk_,  &newScan_, &cancelScan_, &refreshChanged_,
           &refreshCurrent_, &scanAgain_, &forget_,  &review_,     &clearMarks_} {
    constexpr std::array signals_ = {&Driver::isScanningChanged,    &Driver::isDeletingChanged,
                                     &Driver::isForgettingChanged,  &Driver::isRefreshingIndexChanged,
                                     &Driver::hasSavedIndexChanged, &Driver::changedFolderCountChanged,
                                     &Driver::scanResultChanged,    &Driver::selectedForDeletionChanged};
    for (const auto signal : signals_) {
        connect(&driver, signal, this, &DiskCommands::update);
    }
    connect(&tab, &DiskSpaceTab::pageChanged, this, &DiskCommands::update);
}

QString DiskCommands::ofTheMap(bool can, const char* reason) const {
    return tab_.page() == DiskSpaceTab::Page::Result ? unless(can, reason)
                                                     : QStringLiteral("No map is on screen.");
}

Command::State DiskCommands::begins(const std::function<QString()>& whyNot) const {
    QString reason = underWay(driver_);
    if (reason.isEmpty() && whyNot) {
        reason = whyNot();
    }
    return {.whyNot = reason};
}

QString DiskCommands::busyReason() const {
    return busyReason_;
}

void DiskCommands::update() {
    for (Command* command : all_) {
        command->update();
    }
    if (QString reason = underWay(driver_); reason != busyReason_) {
        busyReason_ = reason;
        emit busyReasonChanged();
    }
}

QVariantList DiskCommands::inMenus() {
    QVariantList commands;
    for (Command* command : all_) {
        if (command->menu() != Menu::None) {
            commands.append(QVariant::fromValue(command));
        }
    }
    return commands;
}

}  // namespace larkfold

// What the desktop offers a window: its file manager, its previewer, its wishes for colour and motion.
//
// Main thread only. Every call over D-Bus is asynchronous: a desktop that does not answer never holds up the
// window.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariant>
#include <functional>
#include <string>
#include <vector>

namespace larkfold {

class Desktop : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool prefersDark READ prefersDark NOTIFY prefersDarkChanged)
    Q_PROPERTY(bool reducesMotion READ reducesMotion NOTIFY reducesMotionChanged)

public:
    explicit Desktop(QObject* parent = nullptr);
    ~Desktop() override;

    // The desktop's setting, followed while the program runs.
    bool prefersDark() const { return prefersDark_; }
    bool reducesMotion() const { return reducesMotion_; }

    // Shows the items selected in the file manager; where none answers, opens the folder that holds the
    // first. `done(false)` where neither worked.
    void reveal(const std::vector<std::string>& paths, std::function<void(bool)> done);

    // Shows the desktop's own preview of a file. `done(false)` where no previewer answers.
    void preview(const std::string& path, std::function<void(bool)> done);

signals:
    void prefersDarkChanged();
    void reducesMotionChanged();

protected:
    // Follows the palette of the application, where no desktop tells its wish for colours.
    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    // Takes the whole message: with typed arguments, a variant among them, the connection is refused as long
    // as nothing else has made the library register its types.
    void settingChanged(const QDBusMessage& signal);

private:
    void readSettings();
    void takeSetting(const QString& group, const QString& key, const QVariant& wrapped);
    void setPrefersDark(bool prefers);
    void setReducesMotion(bool reduces);

    bool portalTellsColors_ = false;
    bool prefersDark_ = false;
    bool reducesMotion_ = false;
};

}  // namespace larkfold

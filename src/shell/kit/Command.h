// Something that the user can do. Its menu item, its button and its shortcut all offer it by this object:
// they are enabled exactly when it acts, and say why where it does not. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>

namespace larkfold {

class Command : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Each belongs to a tab.")
    Q_PROPERTY(larkfold::Command::Menu menu READ menu CONSTANT)
    Q_PROPERTY(QString iconName READ iconName CONSTANT)
    Q_PROPERTY(QString shortcut READ shortcut CONSTANT)
    Q_PROPERTY(bool checkable READ isCheckable CONSTANT)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool enabled READ isEnabled NOTIFY changed)
    Q_PROPERTY(QString reason READ reason NOTIFY changed)
    Q_PROPERTY(bool checked READ isChecked NOTIFY changed)

public:
    // Where it stands in the menu bar.
    enum class Menu { None, File, Edit, View, Go };
    Q_ENUM(Menu)

    // As it is at a moment.
    struct State {
        QString whyNot = {};  // a sentence; empty where it acts
        QString text = {};    // where it changes; empty: the one it was made with
        bool isChecked = false;
        bool operator==(const State&) const = default;
    };

    struct Row {
        Menu menu = Menu::None;
        QString text;
        QString iconName = {};
        QString shortcut = {};  // as the toolkit writes them, "Ctrl+O"; none: empty
        bool isCheckable = false;
        std::function<State()> state;
        std::function<void()> act = nullptr;  // null: whoever listens to `triggered` acts
    };

    explicit Command(Row row, QObject* parent = nullptr);

    Menu menu() const { return row_.menu; }
    QString iconName() const { return row_.iconName; }
    QString shortcut() const { return row_.shortcut; }
    bool isCheckable() const { return row_.isCheckable; }
    QString text() const { return state_.text.isEmpty() ? row_.text : state_.text; }
    bool isEnabled() const { return state_.whyNot.isEmpty(); }
    // Why it cannot be done now, a sentence; empty where it can.
    QString reason() const { return state_.whyNot; }
    bool isChecked() const { return state_.isChecked; }

    // Asks for its state anew.
    void update();
    // Does nothing where it is not enabled, asked anew: what it was told by may come later.
    Q_INVOKABLE void trigger();

signals:
    void changed();
    void triggered();

private:
    Row row_;
    State state_;
};

}  // namespace larkfold

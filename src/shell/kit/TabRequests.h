// What one tab asks of another, which it does not know: the window's frame carries it. The tab that answers a
// request says so once, and comes on screen with each.
//
// Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <functional>
#include <map>
#include <string>

namespace larkfold {

class TabRequests : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")

public:
    enum class Kind {
        ShowInMap,       // where a path lies in the map of the disk
        FindDuplicates,  // in a folder
        WatchFolder,     // its growth from now on
    };
    Q_ENUM(Kind)
    // Gets the path in question, absolute bytes.
    using Handler = std::function<void(const std::string& path)>;

    using QObject::QObject;

    // From now on that tab answers these; it has one that does, at most.
    void serve(Kind kind, int tab, Handler handler);
    // Whether there is a tab that answers: what asks is enabled exactly then.
    Q_INVOKABLE bool isServed(larkfold::TabRequests::Kind kind) const { return served_.contains(kind); }

    // Brings that tab on screen and hands it the path. Does nothing where none answers.
    void request(Kind kind, const std::string& path);

signals:
    void tabWanted(int tab);

private:
    struct Served {
        int tab;
        Handler handler;
    };

    std::map<Kind, Served> served_;
};

}  // namespace larkfold

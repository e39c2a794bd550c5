// What the preview shows: always one item, the one that the user asked to see.
//
// The desktop's own previewer is asked first. Where none answers, the panel of this program shows a picture,
// the beginning of a text, or otherwise what is known of the item. Files are read on a serial context of
// their own, and only after the user has asked for a preview.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "disk/FileNode.h"
#include "platform/FilePreview.h"
#include "platform/SerialContext.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/disk/FileListModel.h"

namespace larkfold {

class Desktop;

class QuickLookDataSource : public QObject {
    Q_OBJECT
    QML_ELEMENT
    // Whether the program's own panel is up.
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY contentChanged)
    Q_PROPERTY(int itemCount READ itemCount CONSTANT)
    Q_PROPERTY(larkfold::QuickLookDataSource::Content content READ content NOTIFY contentChanged)
    Q_PROPERTY(QString title READ title NOTIFY contentChanged)
    Q_PROPERTY(QString iconName READ iconName NOTIFY contentChanged)
    Q_PROPERTY(QString pathText READ pathText NOTIFY contentChanged)
    // Rows of "label" and "value".
    Q_PROPERTY(QVariantList facts READ facts NOTIFY contentChanged)
    Q_PROPERTY(QString text READ text NOTIFY contentChanged)
    // A sentence where there is less to see than hoped for; else empty.
    Q_PROPERTY(QString message READ message NOTIFY contentChanged)

public:
    enum Content { Facts, Text, Picture };
    Q_ENUM(Content)

    explicit QuickLookDataSource(QObject* parent = nullptr);
    ~QuickLookDataSource() override;

    // At most this much of a text is read, and pictures of larger files are not decoded.
    static constexpr std::size_t textLimit = std::size_t{64} * 1024;
    static constexpr std::size_t pictureLimit = std::size_t{64} * 1024 * 1024;

    // The path of the item, bytes; nothing before the first preview and after the panel was closed.
    const std::optional<std::string>& url() const { return url_; }
    bool isOpen() const { return isOpen_; }
    int itemCount() const { return 1; }
    Content content() const { return shown_.content; }
    QString title() const { return title_; }
    QString iconName() const { return iconName_; }
    QString pathText() const;
    QVariantList facts() const { return shown_.facts; }
    QString text() const { return shown_.text; }
    QImage picture() const { return shown_.picture; }
    QString message() const { return shown_.message; }

    // Shows the item of a row. What keeps it from being shown is told as the model's notice.
    Q_INVOKABLE void preview(larkfold::FileListModel* model, int row);
    Q_INVOKABLE void close();

    // For tests: somebody else in the place of the desktop's previewer.
    using Previewer = std::function<void(const std::string& path, std::function<void(bool)> done)>;
    void setPreviewer(Previewer previewer) { previewer_ = std::move(previewer); }

signals:
    void contentChanged();
    // The question for a preview has come to its end: the panel is up, the desktop shows it,
    // or a notice tells why not.
    void settled();

private:
    // What is known of the item from the scan, read on the main thread before the work begins.
    struct Item {
        std::string path;
        bool isDirectory = false;
        FileKind kind = FileKind::other;
        QString typeWord;
        std::int64_t size = 0;  // bytes on disk, of a folder with everything in it
        std::int64_t itemCount = 0;
    };
    struct Shown {
        Content content = Facts;
        QVariantList facts;
        QString text;
        QImage picture;
        QString message;
    };

    static Shown load(const Item& item, std::stop_token stop);
    static Shown describe(const Item& item, const FilePreview* values);
    void askDesktop(Item item);
    void showPanel(Item item);
    void fail(const std::exception_ptr& failure);

    std::optional<std::string> url_;
    bool isOpen_ = false;
    QString title_;
    QString iconName_;
    Shown shown_;
    QPointer<FileListModel> model_;
    std::uint64_t question_ = 0;  // grows with each preview; a late answer to an earlier one is dropped
    Previewer previewer_;
    std::unique_ptr<Desktop> desktop_;  // made when first needed
    EventLoopQueue queue_;
    SerialContext context_;
    Run run_;  // last: its end drops the work before anything that the work reports to
};

}  // namespace larkfold

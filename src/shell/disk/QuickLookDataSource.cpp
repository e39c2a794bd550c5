#include "shell/disk/QuickLookDataSource.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>
#include <QVariantMap>
#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/Error.h"
#include "platform/qt/Desktop.h"
#include "platform/qt/PathText.h"
#include "shell/disk/FileListRows.h"
#include "shell/disk/FileListTexts.h"
#include "shell/kit/DateTexts.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

constexpr int largestPictureSide = 2048;  // pixels; larger pictures are decoded smaller

QString asText(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

bool isMissing(const SystemError& error) {
    return error.code() == ENOENT || error.code() == ENOTDIR;
}

QVariantMap fact(const char* label, const QString& value) {
    return {{QStringLiteral("label"), QString::fromLatin1(label)}, {QStringLiteral("value"), value}};
}

// Text holds no NUL and hardly any control characters.
bool looksLikeText(std::string_view bytes) {
    std::size_t controls = 0;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value == 0) {
            return false;
        }
        const bool isLayout =
            value == '\t' || value == '\n' || value == '\r' || value == '\f' || value == 0x1B;
        controls += (value < 0x20 && !isLayout) || value == 0x7F ? 1 : 0;
    }
    return controls * 32 <= bytes.size();
}

// Without a character that the limit has cut in two.
std::string_view withoutCutCharacter(std::string_view bytes) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, bytes.size()); ++back) {
        const auto value = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if (value >= 0xC0) {
            const std::size_t length = value >= 0xF0 ? 4 : value >= 0xE0 ? 3 : 2;
            return length > back ? bytes.substr(0, bytes.size() - back) : bytes;
        }
        if (value < 0x80) {
            break;
        }
    }
    return bytes;
}

// Formats that may name other files by their path are not decoded: the preview opens one file alone.
bool isSelfContained(const QByteArray& format) {
    return !format.startsWith("svg") && format != "pdf";
}

QImage decode(const std::string& bytes, QSize& originalSize) {
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    if (!reader.canRead() || !isSelfContained(reader.format())) {
        return {};
    }
    originalSize = reader.size();
    if (originalSize.width() > largestPictureSide || originalSize.height() > largestPictureSide) {
        reader.setScaledSize(
            originalSize.scaled(largestPictureSide, largestPictureSide, Qt::KeepAspectRatio));
    }
    QImage picture = reader.read();
    if (!originalSize.isValid()) {
        originalSize = picture.size();
    }
    return picture;
}

}  // namespace

QuickLookDataSource::QuickLookDataSource(QObject* parent)
    : QObject(parent), context_(queue_.queue(), "preview") {}

QuickLookDataSource::~QuickLookDataSource() = default;

QString QuickLookDataSource::pathText() const {
    return url_ ? displayString(*url_) : QString();
}

// MARK: The user's question

// Stages: does the file exist; does the desktop show it; otherwise load it and show the panel.
void QuickLookDataSource::preview(FileListModel* model, int row) {
    const FileNode::Pointer node = model ? model->node(row) : nullptr;
    if (!node) {
        return;
    }
    close();
    model_ = model;
    if (node->isAggregate()) {
        model->showNotice(file_list_texts::aggregateCannotBePreviewed);
        emit settled();
        return;
    }
    model->dismissNotice();
    Item item{.path = node->url(),
              .isDirectory = node->isDirectory(),
              .kind = node->fileKind(),
              .typeWord = asText(fileListTypeWord(*node)),
              .size = node->size(),
              .itemCount = static_cast<std::int64_t>(node->children().size())};
    url_ = item.path;
    title_ = displayString(node->name());
    iconName_ = model->data(model->index(row), FileListModel::IconNameRole).toString();
    run_ = context_.run<FilePreview>(
        [path = item.path](std::stop_token stop) { return FilePreview::read(path, 0, stop); },
        [this, item](Outcome<FilePreview> outcome) {
            try {
                outcome.get();
            } catch (const SystemError& error) {
                // What may not be read exists all the same, and the panel can tell what is known of it.
                if (!error.isPermissionFailure()) {
                    fail(std::current_exception());
                    return;
                }
            } catch (...) {
                fail(std::current_exception());
                return;
            }
            askDesktop(item);
        });
}

void QuickLookDataSource::askDesktop(Item item) {
    const std::string path = item.path;
    auto done = [source = QPointer(this), item = std::move(item), question = question_](bool shown) mutable {
        if (!source || source->question_ != question) {
            return;
        }
        if (shown) {
            emit source->settled();
        } else {
            source->showPanel(std::move(item));
        }
    };
    if (previewer_) {
        previewer_(path, std::move(done));
        return;
    }
    if (!desktop_) {
        desktop_ = std::make_unique<Desktop>();
    }
    desktop_->preview(path, std::move(done));
}

void QuickLookDataSource::showPanel(Item item) {
    auto work = [item](std::stop_token stop) { return load(item, std::move(stop)); };
    run_ = context_.run<Shown>(std::move(work), [this, item](Outcome<Shown> outcome) {
        try {
            shown_ = std::move(outcome.get());
        } catch (const SystemError& error) {
            if (!error.isPermissionFailure()) {
                fail(std::current_exception());
                return;
            }
            shown_ = describe(item, nullptr);
            shown_.message = asText(error.description());
        } catch (...) {
            fail(std::current_exception());
            return;
        }
        isOpen_ = true;
        emit contentChanged();
        emit settled();
    });
}

void QuickLookDataSource::fail(const std::exception_ptr& failure) {
    const QString name = title_;
    close();
    if (model_) {
        try {
            std::rethrow_exception(failure);
        } catch (const SystemError& error) {
            model_->showNotice(isMissing(error) ? file_list_texts::noLongerThere.arg(name)
                                                : asText(error.description()));
        } catch (const Error& error) {
            model_->showNotice(asText(error.description()));
        } catch (...) {
            // Stopped: nobody waits for an answer.
        }
    }
    emit settled();
}

void QuickLookDataSource::close() {
    ++question_;
    run_.drop();
    url_.reset();
    shown_ = {};
    if (std::exchange(isOpen_, false)) {
        emit contentChanged();
    }
}

// MARK: On the serial context

QuickLookDataSource::Shown QuickLookDataSource::load(const Item& item, std::stop_token stop) {
    const bool mayBePicture = item.kind == FileKind::image;
    const FilePreview values = FilePreview::read(item.path, mayBePicture ? pictureLimit : textLimit, stop);
    Shown shown = describe(item, &values);
    if (values.kind == FilePreview::Kind::other || values.kind == FilePreview::Kind::symbolicLink) {
        shown.message = file_list_texts::previewNotRegular;
        return shown;
    }
    if (values.kind != FilePreview::Kind::file) {
        return shown;
    }
    if (values.logicalBytes == 0) {
        shown.message = file_list_texts::previewEmptyFile;
        return shown;
    }
    if (mayBePicture && !values.isWhole) {
        shown.message = file_list_texts::previewPictureTooLarge;
        return shown;
    }
    if (mayBePicture) {
        QSize size;
        shown.picture = decode(values.beginning, size);
        if (!shown.picture.isNull()) {
            shown.content = Picture;
            shown.facts.append(
                fact("Dimensions", QStringLiteral("%1 × %2").arg(size.width()).arg(size.height())));
            return shown;
        }
    }
    const std::string_view beginning = std::string_view(values.beginning).substr(0, textLimit);
    if (looksLikeText(beginning)) {
        const bool isCut = static_cast<std::int64_t>(beginning.size()) < values.logicalBytes;
        shown.content = Text;
        shown.text = asText(isCut ? withoutCutCharacter(beginning) : beginning);
        shown.message = isCut ? file_list_texts::previewTextIsCut : QString();
    } else if (mayBePicture) {
        shown.message = file_list_texts::previewNoPicture;
    }
    return shown;
}

QuickLookDataSource::Shown QuickLookDataSource::describe(const Item& item, const FilePreview* values) {
    Shown shown;
    shown.facts.append(fact("Type", item.typeWord));
    const bool countsAnew = values && !item.isDirectory;
    shown.facts.append(fact("Size on disk", texts::bytes(countsAnew ? values->allocatedBytes : item.size)));
    if (item.isDirectory) {
        shown.facts.append(fact("Items", texts::grouped(item.itemCount)));
    } else if (values) {
        shown.facts.append(fact("Content", texts::bytes(values->logicalBytes)));
    }
    if (values) {
        shown.facts.append(
            fact("Modified", texts::dateAndTime(dateFromSecondsSince1970(values->modifiedAt))));
    }
    return shown;
}

}  // namespace larkfold

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <cerrno>

#include "platform/Error.h"
#include "platform/FilePreview.h"
#include "shell/disk/FileListSession.h"
#include "shell/disk/FileListTexts.h"
#include "shell/disk/QuickLookDataSource.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::FileListSession;
using test::rowNamed;
using test::TemporaryTree;

int codeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const SystemError& error) {
        return error.code();
    }
    return 0;
}

// MARK: Reading

TEST(FilePreview, aSmallFile_isReadWhole) {
    TemporaryTree tree;
    const FilePreview preview = FilePreview::read(tree.file("note", "hello"), 100);
    EXPECT_EQ(preview.kind, FilePreview::Kind::file);
    EXPECT_EQ(preview.beginning, "hello");
    EXPECT_TRUE(preview.isWhole);
    EXPECT_EQ(preview.logicalBytes, 5);
    EXPECT_GT(preview.modifiedAt, 1'500'000'000);
}

TEST(FilePreview, aLargeFile_isReadUpToTheLimitAlone) {
    TemporaryTree tree;
    const std::string path = tree.fileOfSize("big", 1'000'000);
    const FilePreview preview = FilePreview::read(path, 4'096);
    EXPECT_EQ(preview.beginning.size(), 4'096u);
    EXPECT_FALSE(preview.isWhole);
    EXPECT_EQ(preview.logicalBytes, 1'000'000);
    EXPECT_TRUE(FilePreview::read(path, 1'000'000).isWhole);
}

TEST(FilePreview, aFIFO_isNeverOpened) {
    // Opening it would wait for a writer that never comes.
    TemporaryTree tree;
    const FilePreview preview = FilePreview::read(tree.fifo("pipe"), 100);
    EXPECT_EQ(preview.kind, FilePreview::Kind::other);
    EXPECT_EQ(preview.beginning, "");
}

TEST(FilePreview, aLink_isNotFollowed) {
    TemporaryTree tree;
    tree.file("target", "secret");
    const FilePreview preview = FilePreview::read(tree.link("link", "target"), 100);
    EXPECT_EQ(preview.kind, FilePreview::Kind::symbolicLink);
    EXPECT_EQ(preview.beginning, "");
}

TEST(FilePreview, aMissingFile_isTold) {
    TemporaryTree tree;
    EXPECT_EQ(codeOf([&] { FilePreview::read(tree.path("nothing"), 100); }), ENOENT);
}

TEST(FilePreview, aStop_isObeyed) {
    TemporaryTree tree;
    std::stop_source source;
    source.request_stop();
    // Where the answer is faster than the look at the token it may be given all the same.
    try {
        EXPECT_EQ(FilePreview::read(tree.file("note", "hello"), 100, source.get_token()).beginning, "hello");
    } catch (const CancellationError&) {
        SUCCEED();
    }
}

// MARK: Showing

class QuickLookTest : public testing::Test {
protected:
    void SetUp() override {
        source.setPreviewer([this](const std::string& path, std::function<void(bool)> done) {
            asked.push_back(path);
            done(desktopAnswers);
        });
    }

    // Scans the folder and previews the named entry, to the end of the question.
    void preview(std::string_view name) {
        ASSERT_TRUE(session.scan(tree.root()));
        model.setDriver(&session.driver);
        ask(name);
    }

    void ask(std::string_view name) {
        const int row = rowNamed(model, name);
        ASSERT_GE(row, 0);
        QSignalSpy settled(&source, &QuickLookDataSource::settled);
        source.preview(&model, row);
        ASSERT_TRUE(settled.count() > 0 || settled.wait(60'000));
    }

    QString fact(const QString& label) const {
        for (const QVariant& each : source.facts()) {
            if (each.toMap()["label"] == label) {
                return each.toMap()["value"].toString();
            }
        }
        return {};
    }

    TemporaryTree tree;
    FileListSession session;
    FileListModel model;
    QuickLookDataSource source;
    std::vector<std::string> asked;
    bool desktopAnswers = false;
};

std::string pictureBytes(int width, int height, const char* format) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes.toStdString();
}

TEST_F(QuickLookTest, theDesktopsPreviewer_isAskedFirst_andThenThePanelStaysClosed) {
    tree.file("note.txt", "hello");
    desktopAnswers = true;
    preview("note.txt");
    EXPECT_EQ(asked, std::vector<std::string>{tree.path("note.txt")});
    EXPECT_FALSE(source.isOpen());
    EXPECT_EQ(source.url(), tree.path("note.txt"));
}

TEST_F(QuickLookTest, withoutADesktop_aTextIsShownInThePanel) {
    tree.file("note.txt", "first line\nsecond <b>line</b>");
    preview("note.txt");
    EXPECT_TRUE(source.isOpen());
    EXPECT_EQ(source.itemCount(), 1);
    EXPECT_EQ(source.content(), QuickLookDataSource::Text);
    EXPECT_EQ(source.text(), "first line\nsecond <b>line</b>");
    EXPECT_EQ(source.title(), "note.txt");
    EXPECT_EQ(source.pathText().toStdString(), tree.path("note.txt"));
    EXPECT_EQ(fact("Content"), "29 bytes");
    EXPECT_EQ(fact("Type"), "Document");
    source.close();
    EXPECT_FALSE(source.isOpen());
    EXPECT_EQ(source.url(), std::nullopt);
}

TEST_F(QuickLookTest, ofALongText_onlyTheBeginningIsShown_andNoCharacterIsCut) {
    std::string text = "x";
    while (text.size() < QuickLookDataSource::textLimit + 1'000) {
        text += "ä";  // two bytes each, so that the limit falls into one
    }
    tree.file("long.txt", text);
    preview("long.txt");
    EXPECT_EQ(source.content(), QuickLookDataSource::Text);
    EXPECT_EQ(source.message(), file_list_texts::previewTextIsCut);
    EXPECT_FALSE(source.text().contains(QChar(0xFFFD)));
    EXPECT_EQ(source.text().size(), 1 + (static_cast<qsizetype>(QuickLookDataSource::textLimit) - 1) / 2);
}

TEST_F(QuickLookTest, bytesThatAreNotUTF8_areShownAsReplacements) {
    tree.file("old.txt", "caf\xE9 au lait");
    preview("old.txt");
    EXPECT_EQ(source.text(), QString("caf\uFFFD au lait"));
}

TEST_F(QuickLookTest, aBinaryFile_isShownByItsFacts) {
    tree.file("data.bin", std::string("\x7F"
                                      "ELF\0\1\2",
                                      7));
    preview("data.bin");
    EXPECT_TRUE(source.isOpen());
    EXPECT_EQ(source.content(), QuickLookDataSource::Facts);
    EXPECT_FALSE(fact("Modified").isEmpty());
    EXPECT_FALSE(fact("Size on disk").isEmpty());
}

TEST_F(QuickLookTest, aPicture_isDecoded_andALargeOneSmaller) {
    tree.file("small.png", pictureBytes(40, 30, "PNG"));
    tree.file("large.jpg", pictureBytes(5000, 2500, "JPG"));
    preview("small.png");
    EXPECT_EQ(source.content(), QuickLookDataSource::Picture);
    EXPECT_EQ(source.picture().size(), QSize(40, 30));
    EXPECT_EQ(fact("Dimensions"), "40 × 30");
    ask("large.jpg");
    EXPECT_EQ(source.picture().size(), QSize(2048, 1024));
    EXPECT_EQ(fact("Dimensions"), "5000 × 2500");
}

TEST_F(QuickLookTest, aDamagedPicture_saysSo) {
    std::string bytes = pictureBytes(400, 300, "PNG");
    bytes.resize(60);
    tree.file("broken.png", bytes);
    preview("broken.png");
    EXPECT_EQ(source.content(), QuickLookDataSource::Facts);
    EXPECT_EQ(source.message(), file_list_texts::previewNoPicture);
}

TEST_F(QuickLookTest, aPictureThatMayNameOtherFiles_isShownAsText) {
    tree.file("secret.png", pictureBytes(4, 4, "PNG"));
    tree.file("drawing.svg", "<svg xmlns='http://www.w3.org/2000/svg'><image href='secret.png'/></svg>");
    preview("drawing.svg");
    EXPECT_EQ(source.content(), QuickLookDataSource::Text);
    EXPECT_TRUE(source.picture().isNull());
}

TEST_F(QuickLookTest, anEmptyFile_saysSo) {
    tree.file("empty.txt", "");
    preview("empty.txt");
    EXPECT_EQ(source.message(), file_list_texts::previewEmptyFile);
}

TEST_F(QuickLookTest, aFolder_isShownByItsFacts) {
    tree.file("folder/a", "1");
    tree.file("folder/b", "2");
    preview("folder");
    EXPECT_EQ(source.content(), QuickLookDataSource::Facts);
    EXPECT_EQ(fact("Items"), "2");
    EXPECT_EQ(fact("Type"), "Folder");
}

TEST_F(QuickLookTest, aFileThatHasVanished_opensNothing_andTheListSaysWhy) {
    tree.file("gone.txt", "hello");
    ASSERT_TRUE(session.scan(tree.root()));
    model.setDriver(&session.driver);
    ASSERT_EQ(::unlink(tree.path("gone.txt").c_str()), 0);
    ask("gone.txt");
    EXPECT_FALSE(source.isOpen());
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(model.notice(), file_list_texts::noLongerThere.arg("gone.txt"));
}

TEST_F(QuickLookTest, aFileThatBecameAFIFO_isNotOpened) {
    tree.file("thing.txt", "hello");
    ASSERT_TRUE(session.scan(tree.root()));
    model.setDriver(&session.driver);
    ASSERT_EQ(::unlink(tree.path("thing.txt").c_str()), 0);
    tree.fifo("thing.txt");
    ask("thing.txt");
    EXPECT_EQ(source.content(), QuickLookDataSource::Facts);
    EXPECT_EQ(source.message(), file_list_texts::previewNotRegular);
}

TEST_F(QuickLookTest, aSummary_hasNothingToShow) {
    tree.file("a.txt", "hello");
    ASSERT_TRUE(session.scan(tree.root()));
    model.setDriver(&session.driver);
    session.addSummary(10, 2);
    ask("Other scanned files (2)");
    EXPECT_TRUE(asked.empty());
    EXPECT_FALSE(source.isOpen());
    EXPECT_EQ(model.notice(), file_list_texts::aggregateCannotBePreviewed);
}

TEST_F(QuickLookTest, anAnswerToAnEarlierQuestion_isDropped) {
    tree.file("first.txt", "1");
    tree.file("second.txt", "22");
    ASSERT_TRUE(session.scan(tree.root()));
    model.setDriver(&session.driver);
    std::vector<std::function<void(bool)>> answers;
    source.setPreviewer(
        [&](const std::string&, std::function<void(bool)> done) { answers.push_back(std::move(done)); });
    source.preview(&model, rowNamed(model, "first.txt"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return answers.size() == 1; }, 60'000));
    source.preview(&model, rowNamed(model, "second.txt"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return answers.size() == 2; }, 60'000));
    answers[0](false);
    QSignalSpy settled(&source, &QuickLookDataSource::settled);
    answers[1](false);
    ASSERT_TRUE(settled.wait(60'000));
    EXPECT_EQ(source.text(), "22");
}

}  // namespace
}  // namespace larkfold

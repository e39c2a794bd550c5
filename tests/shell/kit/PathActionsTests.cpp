#include "shell/kit/PathActions.h"

#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace larkfold {
namespace {

// A program that was asked, and answers when the test says so.
struct Asked {
    std::vector<std::string> paths;
    std::function<void(bool)> answer;

    PathActions::Program program() {
        return [this](const std::string& path, std::function<void(bool)> done) {
            paths.push_back(path);
            answer = std::move(done);
        };
    }
};

class PathActionsTest : public testing::Test {
protected:
    PathActions::Told tell() {
        return [this](const QString& problem) { told = problem; };
    }

    Asked revealer;
    Asked opener;
    std::optional<QString> told;
    std::unique_ptr<PathActions> actions =
        std::make_unique<PathActions>(revealer.program(), opener.program());
};

TEST_F(PathActionsTest, aPathIsCopiedAsItIs) {
    EXPECT_EQ(PathActions::copy("/home/anna/größe"), "The path was copied.");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "/home/anna/größe");
}

TEST_F(PathActionsTest, whatIsNoTextIsCopiedAsItsAddress) {
    EXPECT_TRUE(PathActions::copy("/home/anna/caf\xe9").contains("exact address"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "file:///home/anna/caf%E9");
}

TEST_F(PathActionsTest, theBytesOfThePathReachTheProgramAndSuccessIsSilent) {
    actions->reveal("/home/anna/caf\xe9", tell());
    EXPECT_EQ(revealer.paths, std::vector<std::string>{"/home/anna/caf\xe9"});
    EXPECT_EQ(told, std::nullopt) << "nobody answered yet";
    revealer.answer(true);
    EXPECT_EQ(told, QString());
    actions->open("/home/anna/notes", tell());
    EXPECT_EQ(opener.paths, std::vector<std::string>{"/home/anna/notes"});
    EXPECT_EQ(revealer.paths.size(), 1U);
}

TEST_F(PathActionsTest, whoDidNotAnswerIsToldWithThePath) {
    actions->reveal("/home/anna/50%1", tell());
    revealer.answer(false);
    EXPECT_EQ(told,
              "No file manager answered, so the item could not be shown. Its path is “/home/anna/50%1”.");
    actions->open("/home/anna/notes", tell());
    opener.answer(false);
    EXPECT_EQ(told,
              "No application answered, so the item could not be opened. Its path is “/home/anna/notes”.");
}

TEST_F(PathActionsTest, anAnswerAfterTheEndIsHeardByNobody) {
    actions->reveal("/home/anna/notes", tell());
    actions.reset();
    revealer.answer(false);
    EXPECT_EQ(told, std::nullopt);
}

}  // namespace
}  // namespace larkfold

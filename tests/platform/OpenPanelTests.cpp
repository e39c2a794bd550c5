#include "platform/OpenPanel.h"

#include <gtest/gtest.h>

namespace larkfold {
namespace {

TEST(OpenPanelFileTypeTest, aNameIsAcceptedByItsEndingWhateverTheCaseOfItsLetters) {
    const OpenPanel::FileType type{.name = "JSON files", .extensions = {"json", "tar.gz"}};
    for (const char* name : {"a.json", "A.JSON", "a.b.Json", "caf\xE9.json", "x.tar.gz", "\xFF.json"}) {
        EXPECT_TRUE(type.accepts(name)) << name;
    }
    for (const char* name : {"", "json", ".json", "ajson", "a.jsonl", "a.json~", "a.gz", "a.json/b"}) {
        EXPECT_FALSE(type.accepts(name)) << name;
    }
}

TEST(OpenPanelFileTypeTest, withoutEndingsEveryFileIsAccepted) {
    EXPECT_TRUE(OpenPanel::FileType{}.accepts("anything"));
    EXPECT_TRUE(OpenPanel::FileType{}.accepts(".hidden"));
}

}  // namespace
}  // namespace larkfold

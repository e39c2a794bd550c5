// The words in the user's texts that name the operating system. A text is one sentence for every system, with
// these in the places that differ:
//
//   std::string("Saved on this ") + systemWords().computer + "."
//
// A table for each system, of which the build chooses one. Both are compiled everywhere, so that the texts of
// the one are tested on the other. Names of products (Safari, Xcode) are no such words, and stay.
#pragma once

namespace larkfold {

struct SystemWords {
    // "on your {computer}". The forms with "Start" begin a sentence.
    const char* computer;
    const char* computerStart;
    // "{system} will skip", and before a noun: "{ofSystem} notifications".
    const char* system;
    const char* systemStart;
    const char* ofSystem;
    // "shown in {fileManager}", and in a button: "Show in {fileManagerButton}".
    const char* fileManager;
    const char* fileManagerButton;
    // "In {trash}, select the item", "choose {putBack}", "You can use {putBackInFileManager} until".
    const char* trash;
    const char* putBack;
    const char* putBackInFileManager;
    // "Open {settings}".
    const char* settings;
    // "{commandKey}+click".
    const char* commandKey;
    // "{fileSystem} snapshots".
    const char* fileSystem;
    const char* fileSystemStart;
    // "Review the disk in {diskTool}."
    const char* diskTool;
    // Behind the name of a tool: "{tool}{applicationEnding}".
    const char* applicationEnding;
};

inline constexpr SystemWords macSystemWords{
    .computer = "Mac",
    .computerStart = "Mac",
    .system = "macOS",
    .systemStart = "macOS",
    .ofSystem = "macOS",
    .fileManager = "Finder",
    .fileManagerButton = "Finder",
    .trash = "Finder's Trash",
    .putBack = "File → Put Back",
    .putBackInFileManager = "Put Back in Finder",
    .settings = "System Settings",
    .commandKey = "Cmd",
    .fileSystem = "APFS",
    .fileSystemStart = "APFS",
    .diskTool = "Disk Utility",
    .applicationEnding = ".app",
};

inline constexpr SystemWords linuxSystemWords{
    .computer = "computer",
    .computerStart = "Computer",
    .system = "the system",
    .systemStart = "The system",
    .ofSystem = "the system's",
    .fileManager = "your file manager",
    .fileManagerButton = "File Manager",
    .trash = "Trash",
    .putBack = "Restore",
    .putBackInFileManager = "Restore in your file manager",
    .settings = "Settings",
    .commandKey = "Ctrl",
    .fileSystem = "file system",
    .fileSystemStart = "File system",
    .diskTool = "a disk tool",
    .applicationEnding = "",
};

// Those of the system that this program was built for.
const SystemWords& systemWords();

}  // namespace larkfold

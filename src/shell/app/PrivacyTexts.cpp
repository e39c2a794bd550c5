#include "shell/app/PrivacyTexts.h"

#include "platform/SystemWords.h"

namespace larkfold::privacy {

std::vector<Section> sections() {
    const SystemWords& words = systemWords();
    return {
        {.heading = "What Is Not Collected",
         .body = std::string("Larkfold does NOT collect:\n"
                             "• Personal information\n"
                             "• File contents or names\n"
                             "• Browsing history\n"
                             "• Location data\n"
                             "• Usage analytics\n"
                             "• Crash reports (unless you explicitly share them)\n"
                             "\n"
                             "All scanning and analysis happens locally on your ") +
                 words.computer + ".",
         .note = ""},
        {.heading = "File System Access",
         .body = "Larkfold reads the file system to:\n"
                 "• Scan folders and calculate sizes\n"
                 "• Compare checksums to find duplicates\n"
                 "• Find system files that can be cleaned up\n"
                 "• Delete what you select\n"
                 "\n"
                 "It does so when you start a scan, a cleanup or a project archive, or while Live Disk "
                 "Watch is active for the folders you chose. File contents are not inspected except for "
                 "duplicate detection, which uses secure hashing. Project Archive copies file bytes without "
                 "analyzing their contents.",
         .note = ""},
        {.heading = "What You Look At Yourself",
         .body = std::string("A preview reads the beginning of the one file that you select, to show it to "
                             "you, and keeps nothing of it. Verify Archive reads the files of a copy that "
                             "you choose, to compare their checksums with those in its manifest. “Show in ") +
                 words.fileManagerButton + "” hands the place of an item to " + words.fileManager + ".",
         .note = ""},
        {.heading = "Running Applications",
         .body = "Before something is removed, Larkfold looks at which applications are running, by their "
                 "names and the places of their programs, so that it takes nothing away that is in use. "
                 "Where it leaves an item alone for that reason, the record of the cleanup may name the "
                 "application.",
         .note = ""},
        {.heading = "Optional Access",
         .body = std::string("With the additional grant, Larkfold can scan Mail downloads and attachments, "
                             "Safari website data and app containers. This is optional and can be revoked "
                             "in ") +
                 words.settings + ".",
         .note = ""},
        {.heading = "AI Tool Health",
         .body = "AI Tool Health reads file metadata such as path, allocated size, file count and "
                 "modification time, and an allowlist of session metadata fields. Prompt and response "
                 "bodies, attachments, configuration values, source code and command-line arguments are not "
                 "read.",
         .note = ""},
        {.heading = "What Stays on This Computer",
         .body = "Larkfold keeps a few files of its own, which nobody but your account can read:\n"
                 "• Your settings, the folders you scanned, added or watch, and sizes measured in them\n"
                 "• The index of the latest scan, with the names and sizes of files\n"
                 "• The latest hundred cleanups, with the paths of what was removed, and while one is under "
                 "way what it is about to remove\n"
                 "\n"
                 "“Forget saved scan…” removes the index, and “Clear history” the record of cleanups. "
                 "Copies that Project Archive makes lie where you put them.",
         .note = "They lie in the folders named Larkfold below ~/.config and ~/.local/share, unless your "
                 "system names others. Removing those folders removes all of it."},
        {.heading = "The Network",
         .body = "Larkfold uses the internet for one thing: to ask whether there is a newer version. It "
                 "does so when you ask for a check, and about once a day while it runs if you turn on "
                 "automatic checks, which are off until you do. A check asks one server, or one that it "
                 "names in its place, over a secure connection for a signed list of releases. That server "
                 "learns what every web server learns, your internet address, and that a program named "
                 "Larkfold asks. No version, language, identifier or anything about your computer or your "
                 "files is sent. If your system says that connections go through a proxy, so does this one. "
                 "A copy of Larkfold that was made without an address to ask never asks.\n"
                 "\n"
                 "Nothing is downloaded but that list, and nothing is installed. A web page opens, in your "
                 "browser, only when you press the button for it.",
         .note = ""},
    };
}

const char* closingLine() {
    return "This privacy policy may be updated periodically. We will notify you of significant changes "
           "through the app.";
}

}  // namespace larkfold::privacy

// The scan index as bytes of a file: docs/scan-index-format.md. What the library of the database makes of
// them is its own affair; this looks at what comes out of it, and at our use of it. The search among rows
// that the library accepts is in index_rows.cpp.
#include "IndexReading.h"
#include "StoredFormat.h"
#include "disk/DiskScanner.h"
#include "support/TemporaryTree.h"

namespace larkfold::fuzz {

void writeSeeds(const std::string& folder) {
    test::TemporaryTree tree;
    tree.file("a/one", "1");
    tree.file("a/b/two", "22");
    tree.file("three", "333");
    tree.folder("void");
    DiskScanner(folder + "/tree").scan(tree.root(), {}, {});
    DiskScanner(folder + "/folder").scan(tree.path("void"), {}, {});
}

void read(std::string_view bytes) {
    static const test::TemporaryTree place;
    static const std::string file = place.path("index.sqlite");
    writeBytes(file, bytes);
    tryIndex(file, bytes.size());
    for (const char* companion : {"", "-journal", "-wal", "-shm"}) {
        test::removeTree(file + companion);
    }
}

}  // namespace larkfold::fuzz

// A real folder for a test, filled from a literal, gone at the end whatever its permissions.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace larkfold::test {

class TemporaryTree {
public:
    TemporaryTree();  // an empty folder below TMPDIR
    ~TemporaryTree();
    TemporaryTree(const TemporaryTree&) = delete;
    TemporaryTree& operator=(const TemporaryTree&) = delete;

    // The folder's own path, or that of an item in it.
    const std::string& root() const { return root_; }
    std::string path(std::string_view relative) const;

    // Each makes the folders it needs and returns the absolute path. Failures abort the test program.
    std::string file(std::string_view relative, std::string_view content = "");
    std::string fileOfSize(std::string_view relative, std::int64_t bytes);  // written, not sparse
    std::string folder(std::string_view relative);
    std::string link(std::string_view relative, std::string_view target);
    std::string fifo(std::string_view relative);

private:
    std::string root_;
};

// The bytes of a file; none where it cannot be read.
std::string contentOf(const std::string& path);

// Removes a tree of any depth, by descriptor, adding the owner's rights where they are missing.
void removeTree(const std::string& path);

}  // namespace larkfold::test

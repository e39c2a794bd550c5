// The one family of errors of this program.
//
// `Error` is the base of every failure that a user may be told: each has a description, a whole sentence in
// the user's words. `CancellationError` stands outside of the family on purpose: who catches `Error` to show
// it never shows a cancellation by accident. A failure of one item is not thrown but kept as an `ErrorValue`.
//
// Immutable after construction, so values may cross threads.
#pragma once

#include <exception>
#include <memory>
#include <string>

namespace larkfold {

class Error : public std::exception {
public:
    Error() noexcept = default;
    // A copy makes its own text when asked, so that copying never reads what `what()` may be writing on
    // another thread.
    Error(const Error& other) noexcept : std::exception(other) {}
    Error& operator=(const Error& other) noexcept;

    // A whole sentence for the user, valid UTF-8, without a final line break.
    virtual std::string description() const = 0;

    // The description, for logs and test output. Valid as long as the error lives.
    const char* what() const noexcept override;

private:
    mutable std::string what_;
};

// A failure that is kept as a value beside the item that it struck.
using ErrorValue = std::shared_ptr<const Error>;

// A system call failed. `code` is the errno value, `path` the bytes of the path it was about (may be empty).
class SystemError final : public Error {
public:
    // What was attempted; it chooses the sentence.
    enum class Operation {
        open,
        list,
        readAttributes,
        resolve,  // where a path leads
        read,
        write,
        create,
        remove,
        move,
        replace,
        sync,
        permissions,
        launch
    };

    SystemError(Operation operation, int code, std::string path);

    std::string description() const override;

    Operation operation() const { return operation_; }
    int code() const { return code_; }
    const std::string& path() const { return path_; }

    // True where the user lacks a right (EACCES, EPERM), which is what granting access can mend.
    bool isPermissionFailure() const;

private:
    Operation operation_;
    int code_;
    std::string path_;
};

// Work was cancelled, by the user or because its owner went. Not a failure.
class CancellationError final : public std::exception {
public:
    const char* what() const noexcept override { return "The operation was cancelled."; }
    std::string description() const { return what(); }
};

// What a failure says of itself: the description of an `Error`, else the text of the exception.
std::string descriptionOf(const std::exception_ptr& failure);

}  // namespace larkfold

#include "platform/Error.h"

#include <cerrno>
#include <mutex>
#include <string_view>
#include <system_error>

#include "platform/Path.h"

namespace larkfold {

namespace {

// Guards every `what_`: a description is asked for rarely, and one error value may be looked at from several
// threads.
std::mutex& whatMutex() {
    static std::mutex mutex;
    return mutex;
}

using Operation = SystemError::Operation;

// What could not be done. `subject` is the quoted path, or a word that stands for it.
std::string attempt(Operation operation, const std::string& subject) {
    switch (operation) {
        case Operation::open:
            return subject + " could not be opened";
        case Operation::list:
            return "The contents of " + subject + " could not be listed";
        case Operation::readAttributes:
            return "The size and dates of " + subject + " could not be read";
        case Operation::resolve:
            return subject + " could not be followed to where it leads";
        case Operation::read:
            return subject + " could not be read";
        case Operation::write:
            return subject + " could not be written";
        case Operation::create:
            return subject + " could not be created";
        case Operation::remove:
            return subject + " could not be removed";
        case Operation::move:
            return subject + " could not be moved";
        case Operation::replace:
            return subject + " could not be replaced";
        case Operation::sync:
            return subject + " could not be saved safely";
        case Operation::permissions:
            return "The permissions of " + subject + " could not be changed";
        case Operation::launch:
            return subject + " could not be started";
    }
    return subject + " could not be used";
}

// Why, as the second half of the sentence, and where it helps what to do, as a sentence of its own.
std::string reason(Operation operation, int code) {
    switch (code) {
        case EACCES:
        case EPERM:
            return "you do not have permission.";
        case ENOENT:
            return operation == Operation::create || operation == Operation::write
                       ? "the folder that should hold it is missing."
                       : "it is no longer there.";
        case ENOTDIR:
            return "a part of the path is not a folder.";
        case EISDIR:
            return "a folder stands in its place.";
        case EEXIST:
            return "something of that name is already there.";
        case ENOTEMPTY:
            return "the folder is not empty.";
        case ENOSPC:
            return "the disk is full. Free some space and try again.";
        case EDQUOT:
            return "your disk quota is used up. Free some space and try again.";
        case EROFS:
            return "the disk is read-only.";
        case EIO:
            return "the disk reported an error. It may be damaged; back up what matters.";
        case ENAMETOOLONG:
            return "its path is too long for the system.";
        case ELOOP:
            return "its symbolic links lead in a circle.";
        case EMFILE:
        case ENFILE:
            return "too many files are open. Close other programs and try again.";
        case ENOMEM:
            return "the system is out of memory.";
        case EAGAIN:
            return operation == Operation::launch
                       ? "the system cannot run more at once. Close other programs and try again."
                       : "it is not available at the moment. Try again.";
        case ETIMEDOUT:
            return "the disk did not answer in time. Check the connection and try again.";
        case ESTALE:
        case ENOTCONN:
        case EHOSTDOWN:
        case EHOSTUNREACH:
            return "the connection to its disk was lost.";
        case ENODEV:
        case ENXIO:
            return "its disk is no longer connected.";
        case EBUSY:
        case ETXTBSY:
            return "another program is using it.";
        case EFBIG:
            return "it is too large.";
        default:
            // The library's word for it, for the codes that no ordinary use brings up.
            return std::generic_category().message(code) + ".";
    }
}

}  // namespace

Error& Error::operator=(const Error& other) noexcept {
    if (this != &other) {
        const std::lock_guard lock(whatMutex());
        what_.clear();
    }
    return *this;
}

const char* Error::what() const noexcept {
    try {
        std::string text = description();
        const std::lock_guard lock(whatMutex());
        // Once made it stays, since the pointer that an earlier call returned has to hold.
        if (what_.empty()) {
            what_ = std::move(text);
        }
        return what_.c_str();
    } catch (...) {
        return "An error occurred that could not be described.";
    }
}

SystemError::SystemError(Operation operation, int code, std::string path)
    : operation_(operation), code_(code), path_(std::move(path)) {}

std::string SystemError::description() const {
    const std::string nameless = operation_ == Operation::launch ? "The work" : "The item";
    const std::string subject = path_.empty() ? nameless : "“" + displayText(path_) + "”";
    std::string text = attempt(operation_, subject) + ": " + reason(operation_, code_);
    if (path_.empty() && !text.starts_with(nameless)) {
        // It stands inside the sentence here.
        const std::size_t at = text.find(nameless);
        text.replace(at, 3, "the");
    }
    return text;
}

bool SystemError::isPermissionFailure() const {
    return code_ == EACCES || code_ == EPERM;
}

std::string descriptionOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Error& error) {
        return error.description();
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace larkfold

#include "disk/DiskFailure.h"

#include "disk/MissingFolderFailure.h"
#include "platform/Error.h"

namespace larkfold {

DiskFailure DiskFailure::of(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const CancellationError&) {
        return {.kind = Kind::cancelled, .text = "Scan was cancelled"};
    } catch (const MissingFolderFailure& missing) {
        return {.kind = Kind::folderMissing, .text = missing.description()};
    } catch (const SystemError& error) {
        return {.kind = error.isPermissionFailure() ? Kind::access : Kind::scan, .text = error.description()};
    } catch (...) {
        return {.kind = Kind::scan, .text = descriptionOf(failure)};
    }
}

}  // namespace larkfold

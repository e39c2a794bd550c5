// A removal of what was reviewed in the disk tab: what the gate is asked for, and what came of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "disk/DiskFailure.h"
#include "disk/RemovalScope.h"
#include "platform/Volumes.h"
#include "removal/CleanupOperation.h"
#include "removal/CleanupReview.h"
#include "removal/FileDeleter.h"

namespace larkfold {

// Whether for good is the run's.
FileDeleter::Request requestFor(const CleanupReview::Shown& shown, const RemovalScope& scope);

// What a removal came to, and what the disk looks like after it.
struct FinishedRemoval {
    // By the positions of the review.
    std::vector<std::size_t> gone;
    std::vector<std::size_t> failed;
    CleanupOperation operation;
    std::optional<DiskFailure> failure;
    VolumeCapacity capacity;

    // For long lists this takes its time, and the volume of `root` may not answer: call it where the gate has
    // run.
    static FinishedRemoval of(const CleanupReview::Shown& shown, FileDeleter::DeletionResult result,
                              const std::string& root);
};

}  // namespace larkfold

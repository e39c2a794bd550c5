// What the next start tells of a removal that was killed, beside what lies on the disk.
#pragma once

#include <string>

#include "faults/RemovalSubject.h"
#include "removal/RemovalRecovery.h"

namespace larkfold::test {

struct RecordOracle {
    RemovalRecovery::Report report;
    int inPlace = 0;
    int inTrash = 0;
    int aside = 0;
    int gone = 0;
    int untold = 0;  // nothing had begun

    // Runs the recovery here, looks at the disk, and compares what is told of the item with where it is.
    // Empty where all of it is true.
    std::string problemAfterRecovery(RemovalSubject& subject);

    // Puts back what was left aside, and looks whether that is all there is to say.
    std::string problemAfterRestoring(RemovalSubject& subject);
};

}  // namespace larkfold::test

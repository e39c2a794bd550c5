// Names for views of what lives in lower floors, which know nothing of views.
#pragma once

#include <QtQml/qqml.h>
#include <QtQml/qqmlregistration.h>

#include "disk/DiskScannerViewModel.h"
#include "disk/DroppedMarks.h"
#include "disk/RescanCheck.h"
#include "removal/RemovalRun.h"

namespace larkfold {

struct DiskScannerViewModelForeign {
    Q_GADGET
    QML_FOREIGN(larkfold::DiskScannerViewModel)
    QML_NAMED_ELEMENT(DiskScannerViewModel)
    QML_UNCREATABLE("The window owns the drivers.")
};

struct RescanCheckForeign {
    Q_GADGET
    QML_FOREIGN(larkfold::RescanCheck)
    QML_NAMED_ELEMENT(RescanCheck)
    QML_UNCREATABLE("The driver owns it.")
};

struct DroppedMarksForeign {
    Q_GADGET
    QML_FOREIGN(larkfold::DroppedMarks)
    QML_NAMED_ELEMENT(DroppedMarks)
    QML_UNCREATABLE("The driver has its own.")
};

struct RemovalRunForeign {
    Q_GADGET
    QML_FOREIGN(larkfold::RemovalRun)
    QML_NAMED_ELEMENT(RemovalRun)
    QML_UNCREATABLE("Each driver that removes has its own.")
};

}  // namespace larkfold

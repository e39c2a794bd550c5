// Which picture of our set stands for a kind of file.
#pragma once

#include <QString>

#include "disk/FileKind.h"

namespace larkfold {

QString iconNameOf(FileKind kind);

}  // namespace larkfold

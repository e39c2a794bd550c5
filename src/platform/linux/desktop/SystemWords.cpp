#include "platform/SystemWords.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

const SystemWords& systemWords() {
    return linuxSystemWords;
}

}  // namespace larkfold

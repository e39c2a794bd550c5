#include "platform/ThreadName.h"

#include <pthread.h>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

void nameThisThread(const std::string& name) {
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}

}  // namespace larkfold

#include "platform/linux/calls/CallWithTimeout.h"

#include <atomic>
#include <system_error>
#include <thread>

#include "platform/ThreadName.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::call_with_timeout {

namespace {

std::atomic<int> abandoned{0};

}  // namespace

bool start(std::function<void()> work, int limit) {
    if (abandoned.load() >= limit) {
        return false;
    }
    try {
        std::thread([work = std::move(work)] {
            nameThisThread("expendable");
            work();
        }).detach();
        return true;
    } catch (const std::system_error&) {
        return false;  // no thread to be had: as good as no answer
    }
}

void noteAbandoned() {
    abandoned.fetch_add(1);
}

void noteReturned() {
    abandoned.fetch_sub(1);
}

}  // namespace larkfold::call_with_timeout

#include "shell/kit/TabRequests.h"

#include <utility>

namespace larkfold {

void TabRequests::serve(Kind kind, int tab, Handler handler) {
    served_.insert_or_assign(kind, Served{.tab = tab, .handler = std::move(handler)});
}

void TabRequests::request(Kind kind, const std::string& path) {
    if (const auto found = served_.find(kind); found != served_.end()) {
        const Served served = found->second;
        emit tabWanted(served.tab);
        served.handler(path);
    }
}

}  // namespace larkfold

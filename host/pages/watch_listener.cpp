// SPDX-License-Identifier: Apache-2.0
#include "host/pages/watch_listener.h"

#include <string>
#include <utility>

namespace ZYRA::Host {

void WatchListener::Expect(int32_t pid) {
    expected_ = pid;
    ready_ = Listen(pid);
}

std::unique_ptr<PageCollection> WatchListener::Take(int32_t pid) {
    std::unique_ptr<PageCollection> ready = std::move(ready_);
    return ready != nullptr && expected_ == pid ? std::move(ready) : Listen(pid);
}

std::unique_ptr<PageCollection> WatchListener::Listen(int32_t pid) const {
    if (!events_.HasDemands()) {
        return nullptr;
    }
    std::string reason;
    auto collection = PageCollection::Start(events_, PAGE_DEMANDS, reason);
    return collection != nullptr && collection->Attach(pid) == 0 ? std::move(collection) : nullptr;
}

}  // namespace ZYRA::Host

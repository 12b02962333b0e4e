// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "host/pages/page_collection.h"
#include "host/pages/page_events.h"

namespace ZYRA::Host {

// Listens to the processes whose starts are watched. To get ready for it takes some milliseconds, which can be done
// before the process starts. Not thread-safe.
class WatchListener {
public:
    // `events` must outlive the object.
    explicit WatchListener(const PageEventSupport& events) : events_(events) {}

    // The process is the next one that may be watched: it is listened to from now on.
    void Expect(int32_t pid);

    // What listens to the process: from when it was expected, or from now on. Null where nobody can, and for a process
    // that is gone.
    std::unique_ptr<PageCollection> Take(int32_t pid);

private:
    std::unique_ptr<PageCollection> Listen(int32_t pid) const;

    const PageEventSupport& events_;
    int32_t expected_ = 0;
    std::unique_ptr<PageCollection> ready_;
};

}  // namespace ZYRA::Host

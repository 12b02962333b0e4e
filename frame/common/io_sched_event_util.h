// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "frame/common/io_sched_event_callback.h"
#include "platform/mutex.h"

namespace ZYRA::ResourceSchedule {

// Where the features find the callback to the plugin's queues. Any thread.
class IOSchedEventUtil {
public:
    static IOSchedEventUtil& GetInstance();

    IOSchedEventUtil(const IOSchedEventUtil&) = delete;
    IOSchedEventUtil& operator=(const IOSchedEventUtil&) = delete;

    // Registers `callback` unless one is registered already: the first stays. Returns whether one is registered now.
    bool RegisterIOSchedEventCallback(std::shared_ptr<IOSchedEventCallback> callback);
    void UnregisterIOSchedEventCallback();
    // Null while the plugin is disabled.
    std::shared_ptr<IOSchedEventCallback> GetIOSchedEventCallback();

private:
    IOSchedEventUtil() = default;

    Mutex mutex_;
    std::shared_ptr<IOSchedEventCallback> callback_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::ResourceSchedule

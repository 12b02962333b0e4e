// SPDX-License-Identifier: Apache-2.0
#include "frame/common/io_sched_event_util.h"

#include <utility>

namespace ZYRA::ResourceSchedule {

IOSchedEventUtil& IOSchedEventUtil::GetInstance() {
    static IOSchedEventUtil instance;
    return instance;
}

bool IOSchedEventUtil::RegisterIOSchedEventCallback(std::shared_ptr<IOSchedEventCallback> callback) {
    MutexLock lock(mutex_);
    if (callback_ == nullptr) {
        callback_ = std::move(callback);
    }
    return callback_ != nullptr;
}

void IOSchedEventUtil::UnregisterIOSchedEventCallback() {
    // The last owner's destructor runs after the lock has been released.
    std::shared_ptr<IOSchedEventCallback> last;
    MutexLock lock(mutex_);
    last.swap(callback_);
}

// Shutdown and background threads ask while another thread enables or disables the plugin.
std::shared_ptr<IOSchedEventCallback> IOSchedEventUtil::GetIOSchedEventCallback() {
    MutexLock lock(mutex_);
    return callback_;
}

}  // namespace ZYRA::ResourceSchedule

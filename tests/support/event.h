// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>

namespace ZYRA::Host {

// Something that happens once and can be waited for.
class Event {
public:
    void Set() {
        std::lock_guard lock(mutex_);
        isSet_ = true;
        changed_.notify_all();
    }
    void Wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isSet_; });
    }
    bool IsSet() {
        std::lock_guard lock(mutex_);
        return isSet_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isSet_ = false;
};

}  // namespace ZYRA::Host

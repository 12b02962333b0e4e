// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/mutex.h"

namespace ZYRA {

// A singleton that is created on the first GetInstance() and shared: whoever holds the pointer keeps the object alive,
// also past DestroyInstance(). Creation is thread-safe. T befriends DelayedSingleton<T> when its constructor is
// private.
template <typename T>
class DelayedSingleton {
public:
    DelayedSingleton() = delete;

    static std::shared_ptr<T> GetInstance() {
        MutexLock lock(mutex_);
        if (instance_ == nullptr) {
            instance_ = std::shared_ptr<T>(new T());
        }
        return instance_;
    }

    static void DestroyInstance() {
        std::shared_ptr<T> last;
        MutexLock lock(mutex_);
        last.swap(instance_);
    }

private:
    static inline Mutex mutex_;
    static inline std::shared_ptr<T> instance_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA

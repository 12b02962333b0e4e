// SPDX-License-Identifier: Apache-2.0
#include "host/services/power_service.h"

#include <algorithm>

namespace ZYRA {

namespace Host {

PowerService& PowerService::GetInstance() {
    static PowerService& service = *new PowerService();
    return service;
}

void PowerService::Register(const std::shared_ptr<AsyncShutdownCallback>& callback, ShutdownPriority priority) {
    MutexLock lock(mutex_);
    const bool isKnown = std::any_of(registrations_.begin(), registrations_.end(),
                                     [&](const Registration& known) { return known.callback == callback; });
    if (callback == nullptr || isKnown) {
        return;
    }
    // Kept in the order of calling.
    const auto behind = std::find_if(registrations_.begin(), registrations_.end(),
                                     [&](const Registration& known) { return known.priority > priority; });
    registrations_.insert(behind, {callback, priority});
}

void PowerService::UnRegister(const std::shared_ptr<AsyncShutdownCallback>& callback) {
    Registration last;  // Destroyed after the lock is released.
    MutexLock lock(mutex_);
    const auto known = std::find_if(registrations_.begin(), registrations_.end(),
                                    [&](const Registration& other) { return other.callback == callback; });
    if (known != registrations_.end()) {
        last = std::move(*known);
        registrations_.erase(known);
    }
}

size_t PowerService::CallbackCount() {
    MutexLock lock(mutex_);
    return registrations_.size();
}

void PowerService::ForgetCallbacks() {
    std::vector<Registration> forgotten;  // Destroyed after the lock is released.
    MutexLock lock(mutex_);
    forgotten.swap(registrations_);
}

size_t PowerService::Shutdown() {
    std::vector<Registration> called;
    {
        MutexLock lock(mutex_);
        called = registrations_;
    }
    for (const Registration& registration : called) {
        registration.callback->OnAsyncShutdown();
    }
    return called.size();
}

}  // namespace Host

AsyncShutdownCallback::~AsyncShutdownCallback() = default;

void ShutdownClient::RegisterShutdownCallback(const std::shared_ptr<AsyncShutdownCallback>& callback,
                                              ShutdownPriority priority) {
    Host::PowerService::GetInstance().Register(callback, priority);
}

void ShutdownClient::UnRegisterShutdownCallback(const std::shared_ptr<AsyncShutdownCallback>& callback) {
    Host::PowerService::GetInstance().UnRegister(callback);
}

}  // namespace ZYRA

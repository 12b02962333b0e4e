// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <utility>

#include "frame/common/io_sched_log.h"

namespace ZYRA::ResourceSchedule {

// Runs `body` where the plugin borders on code that must not see an exception: its exports, its queues, the threads of
// the platform's services. Returns false when one ended the body, logged under the name `function`.
template <typename Body>
bool RunGuarded(const char* function, Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
        return true;
    } catch (const std::exception& exception) {
        // Its text may quote a payload.
        IOSCHED_LOGE_AS(function, "unexpected exception: %{private}s", exception.what());
    } catch (...) {
        IOSCHED_LOGE_AS(function, "unexpected exception");
    }
    return false;
}

}  // namespace ZYRA::ResourceSchedule

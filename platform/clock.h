// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/platform_api.h"

namespace ZYRA {

// The plugin's only source of time. Thread-safe; never fails.
class PLATFORM_API Clock {
public:
    // Wall clock in milliseconds since the epoch (the system clock: it may jump).
    static int64_t NowMs();
    // The same in whole seconds.
    static int64_t NowSeconds();
    // Monotonic microseconds from an unspecified start.
    static int64_t MonotonicUs();
};

}  // namespace ZYRA

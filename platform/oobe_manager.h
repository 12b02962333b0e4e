// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/platform_api.h"

namespace ZYRA::ResourceSchedule {

// The host's knowledge of the device's first set-up (out-of-box experience). Thread-safe.
class PLATFORM_API OOBEManager {
public:
    static OOBEManager& GetInstance();
    // True once the person has agreed to the terms of the first set-up.
    bool GetOOBValue();

private:
    OOBEManager() = default;
};

}  // namespace ZYRA::ResourceSchedule

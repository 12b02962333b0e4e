// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/platform_api.h"

namespace ZYRA {

// What the battery service says of the charger.
enum class BatteryChargeState : int32_t { NONE = 0, ENABLED = 1, DISABLED = 2, FULL = 3 };

// The battery service's client. Thread-safe; cheap to create.
class PLATFORM_API BatteryClient {
public:
    // The status now, NONE when the service does not answer. Values outside the enumerators are possible.
    BatteryChargeState GetChargingStatus();
};

}  // namespace ZYRA

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/platform_api.h"

namespace ZYRA {

// The suspend manager's client. Thread-safe.
class PLATFORM_API SuspendManagerClient {
public:
    static SuspendManagerClient& GetInstance();
    // Whether the process is frozen: it gets no processor time until it is thawed. False for an unknown process, and
    // when the suspend manager does not answer.
    bool IsProcessFrozen(int32_t uid, int32_t pid);

private:
    SuspendManagerClient() = default;
};

}  // namespace ZYRA

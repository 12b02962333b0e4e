// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

#include "platform/platform_api.h"

namespace ZYRA::ResourceSchedule {

// Requests to the service's privileged executor process. Thread-safe. Payload members are strings; "extType" names the
// kind of extension request.
class PLATFORM_API ExecutorClient {
public:
    static ExecutorClient& GetInstance();

    // Hands the request over and returns at once; it is carried out later, in order of sending. Failures are the
    // executor's to report.
    void SendRequestAsync(uint32_t resType, int64_t value, const nlohmann::json& payload);

    // Carries the request out and fills `reply`. Returns 0 on success; otherwise a non-zero error and `reply` is empty.
    // Blocks the caller for as long as the executor takes.
    int32_t SendRequestSync(uint32_t resType, int64_t value, const nlohmann::json& payload, nlohmann::json& reply);

private:
    ExecutorClient() = default;
};

}  // namespace ZYRA::ResourceSchedule

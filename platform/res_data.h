// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

namespace ZYRA::ResourceSchedule {

// One observation of the host: what happened (the host's own numbering), a value whose meaning depends on the type, and
// a JSON object whose members are strings. The payload comes from other processes: nothing about it may be assumed.
struct ResData {
    uint32_t resType = 0;
    int64_t value = 0;
    nlohmann::json payload;
};

}  // namespace ZYRA::ResourceSchedule

// SPDX-License-Identifier: Apache-2.0
#include "frame/common/payload_reader.h"

namespace ZYRA::ResourceSchedule {

bool FindPayloadTexts(const nlohmann::json& payload, const char* const* keys, size_t count, const std::string** texts) {
    if (!payload.is_object()) {
        return false;
    }
    for (size_t at = 0; at < count; ++at) {
        const auto member = payload.find(keys[at]);
        if (member == payload.end() || !member->is_string()) {
            return false;
        }
        texts[at] = member->get_ptr<const std::string*>();
    }
    return true;
}

}  // namespace ZYRA::ResourceSchedule

#include "frame/common/payload_reader.h"

namespace ZYRA::ResourceSchedule {

bool ReadPayload(const nlohmann::json& payload, std::initializer_list<PayloadField> fields) {
    if (!payload.is_object()) {
        return false;
    }
    for (const PayloadField& field : fields) {
        const auto member = payload.find(field.key);
        if (member == payload.end() || !member->is_string()) {
            return false;
        }
        field.text = member->get_ptr<const std::string*>();
    }
    return true;
}

}  // namespace ZYRA::ResourceSchedule

#include "top_scene/values_bucket.h"

#include "frame/common/never_destroyed.h"

namespace ZYRA::ResourceSchedule {

int64_t ValuesBucket::GetInt64(const std::string& name) const {
    return Find(name).GetInt64();
}

double ValuesBucket::GetDouble(const std::string& name) const {
    return Find(name).GetDouble();
}

std::string ValuesBucket::GetString(const std::string& name) const {
    return Find(name).GetString();
}

const VariantValue& ValuesBucket::Find(const std::string& name) const {
    // Tasks may still run while static objects are being destroyed.
    static NeverDestroyed<VariantValue> missing;
    const auto found = values_.find(name);
    return found == values_.end() ? missing.Get() : found->second;
}

}  // namespace ZYRA::ResourceSchedule

// SPDX-License-Identifier: Apache-2.0
#include "top_scene/values_bucket.h"

#include <algorithm>

#include "frame/common/never_destroyed.h"

namespace ZYRA::ResourceSchedule {

VariantValue* ValuesBucket::Add(const std::string& name) {
    const auto [column, isNew] = values_.try_emplace(name);
    return isNew ? &column->second : nullptr;
}

int64_t ValuesBucket::GetInt64(std::string_view name) const {
    return Find(name).GetInt64();
}

double ValuesBucket::GetDouble(std::string_view name) const {
    return Find(name).GetDouble();
}

std::string ValuesBucket::GetString(std::string_view name) const {
    return Find(name).GetString();
}

const VariantValue& ValuesBucket::Find(std::string_view name) const {
    // Tasks may still run while static objects are being destroyed.
    static NeverDestroyed<VariantValue> missing;
    // A row has a few columns: comparing them all is quicker than making a key.
    const auto found =
        std::find_if(values_.begin(), values_.end(), [name](const auto& column) { return column.first == name; });
    return found == values_.end() ? missing.Get() : found->second;
}

}  // namespace ZYRA::ResourceSchedule

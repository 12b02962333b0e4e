// SPDX-License-Identifier: Apache-2.0
#include "top_scene/variant_value.h"

#include <utility>

#include "frame/common/never_destroyed.h"

namespace ZYRA::ResourceSchedule {

VariantValue::VariantValue(VariantValue&& other) noexcept
    : type(std::exchange(other.type, VariantType::TYPE_NULL)), value(std::move(other.value)) {
    other.value = false;
}

VariantValue& VariantValue::operator=(VariantValue&& other) noexcept {
    if (this != &other) {
        type = std::exchange(other.type, VariantType::TYPE_NULL);
        value = std::move(other.value);
        other.value = false;
    }
    return *this;
}

void VariantValue::SetString(std::string_view text) {
    if (type == VariantType::TYPE_STRING) {
        std::get<std::string>(value).assign(text);
    } else {
        *this = VariantValue(std::string(text));
    }
}

bool VariantValue::GetBool() const {
    return type == VariantType::TYPE_BOOL && std::get<bool>(value);
}

int32_t VariantValue::GetInt32() const {
    return type == VariantType::TYPE_INT32 ? std::get<int32_t>(value) : -1;
}

int64_t VariantValue::GetInt64() const {
    return type == VariantType::TYPE_INT64 ? std::get<int64_t>(value) : -1;
}

double VariantValue::GetDouble() const {
    return type == VariantType::TYPE_DOUBLE ? std::get<double>(value) : -1.0;
}

const std::string& VariantValue::GetString() const {
    // Tasks may still run while static objects are being destroyed.
    static NeverDestroyed<std::string> empty;
    return type == VariantType::TYPE_STRING ? std::get<std::string>(value) : empty.Get();
}

}  // namespace ZYRA::ResourceSchedule

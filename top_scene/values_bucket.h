// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "top_scene/variant_value.h"

namespace ZYRA::ResourceSchedule {

// One row: its values by the names of their columns. Not thread-safe.
class ValuesBucket {
public:
    ValuesBucket() = default;
    virtual ~ValuesBucket() = default;
    ValuesBucket(const ValuesBucket&) = default;
    ValuesBucket& operator=(const ValuesBucket&) = default;
    ValuesBucket(ValuesBucket&&) noexcept = default;
    ValuesBucket& operator=(ValuesBucket&&) noexcept = default;

    // Adds a column; one that is there already keeps its value.
    void Put(const std::string& name, int32_t value) { Put(name, VariantValue(value)); }
    void Put(const std::string& name, int64_t value) { Put(name, VariantValue(value)); }
    void Put(const std::string& name, bool value) { Put(name, VariantValue(value)); }
    void Put(const std::string& name, const VariantValue& value) { values_.emplace(name, value); }
    // Adds a column of null and gives its value, to be changed for as long as the bucket is where it is. Null when the
    // column is there already.
    VariantValue* Add(const std::string& name);

    bool IsEmpty() const { return values_.empty(); }

    // The value, unless the column is missing or its value is of another type: -1, -1.0 or an empty text then.
    int64_t GetInt64(std::string_view name) const;
    double GetDouble(std::string_view name) const;
    std::string GetString(std::string_view name) const;

    // In the order of the names.
    const std::map<std::string, VariantValue>& GetAllKeyValue() const { return values_; }

private:
    // A null value for a missing column.
    const VariantValue& Find(std::string_view name) const;

    std::map<std::string, VariantValue> values_;
};

}  // namespace ZYRA::ResourceSchedule

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace ZYRA::ResourceSchedule {

enum class VariantType : uint32_t {
    TYPE_NULL = 0,
    TYPE_BOOL = 1,
    TYPE_INT32 = 2,
    TYPE_INT64 = 3,
    TYPE_DOUBLE = 4,
    TYPE_STRING = 5,
};

// One value of a column or of a statement's argument. It remembers the type that it was made of, and no getter
// converts: asked for another type, it gives that type's fallback. Not thread-safe.
class VariantValue {
public:
    VariantValue() = default;
    VariantValue(bool boolValue) : type(VariantType::TYPE_BOOL), value(boolValue) {}
    VariantValue(int32_t int32Value) : type(VariantType::TYPE_INT32), value(int32Value) {}
    VariantValue(int64_t int64Value) : type(VariantType::TYPE_INT64), value(int64Value) {}
    VariantValue(double doubleValue) : type(VariantType::TYPE_DOUBLE), value(doubleValue) {}
    VariantValue(std::string text) : type(VariantType::TYPE_STRING), value(std::move(text)) {}
    // Would otherwise become a bool.
    VariantValue(const char*) = delete;

    VariantValue(const VariantValue&) = default;
    VariantValue& operator=(const VariantValue&) = default;
    // What is moved from is TYPE_NULL.
    VariantValue(VariantValue&& other) noexcept;
    VariantValue& operator=(VariantValue&& other) noexcept;
    ~VariantValue() = default;

    // Becomes that text, in the room of the text that it has been, if any.
    void SetString(std::string_view text);

    VariantType GetType() const { return type; }

    bool GetBool() const;                  // false unless TYPE_BOOL
    int32_t GetInt32() const;              // -1 unless TYPE_INT32
    int64_t GetInt64() const;              // -1 unless TYPE_INT64
    double GetDouble() const;              // -1.0 unless TYPE_DOUBLE
    const std::string& GetString() const;  // empty unless TYPE_STRING

private:
    VariantType type = VariantType::TYPE_NULL;
    // Holds the alternative that `type` names, a false bool for TYPE_NULL.
    std::variant<bool, int32_t, int64_t, double, std::string> value = false;
};

}  // namespace ZYRA::ResourceSchedule

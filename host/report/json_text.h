// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace ZYRA::Host {

// How JSON is written. Bytes that are not UTF-8 are replaced, so that it can always be read.

// On one line, without a line end.
template <typename Json>
std::string JsonLine(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A document of its own.
inline std::string JsonDocument(const nlohmann::ordered_json& document) {
    constexpr int INDENT = 2;
    return document.dump(INDENT, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

// What is not known is null.
template <typename Value>
nlohmann::ordered_json OrNull(const std::optional<Value>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

}  // namespace ZYRA::Host

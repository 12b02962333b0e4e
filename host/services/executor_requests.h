// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace ZYRA::Host {

// The executor's requests: what they do is told at ExecutorService.
constexpr uint32_t EXTENSION_RESOURCE = 8;
constexpr int64_t PREREAD_RECORD = 0;
constexpr int64_t SET_CACHE_CONFIG = 1;
constexpr int64_t WRITE_FILE = 2;
constexpr uint32_t QUERY_RESOURCE = 0;
constexpr int64_t READ_FILE = 3;

// A member of a payload that is a text; null for anything else.
inline const std::string* TextMember(const nlohmann::json& payload, const char* name) {
    const auto member = payload.is_object() ? payload.find(name) : payload.end();
    return member == payload.end() || !member->is_string() ? nullptr : member->get_ptr<const std::string*>();
}

}  // namespace ZYRA::Host

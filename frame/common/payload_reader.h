// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace ZYRA::ResourceSchedule {

// The texts of a payload, in the order of the keys asked for. They are the payload's own.
template <size_t COUNT>
using PayloadTexts = std::array<const std::string*, COUNT>;

// Finds texts in a payload, which comes from other processes and may be anything. Returns false unless it is an object
// that holds every key with a string.
bool FindPayloadTexts(const nlohmann::json& payload, const char* const* keys, size_t count, const std::string** texts);

// The same for a list of keys; nothing where one is missing.
template <size_t COUNT>
std::optional<PayloadTexts<COUNT>> ReadPayload(const nlohmann::json& payload, const char* const (&keys)[COUNT]) {
    PayloadTexts<COUNT> texts{};
    if (!FindPayloadTexts(payload, keys, COUNT, texts.data())) {
        return std::nullopt;
    }
    return texts;
}

}  // namespace ZYRA::ResourceSchedule

#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

namespace ZYRA::ResourceSchedule {

// A member that a payload must have, and what is to point to its text.
struct PayloadField {
    const char* key;
    const std::string*& text;
};

// Finds the fields of a payload, which comes from other processes and may be anything; the texts are the payload's own.
// Returns false unless it is an object that holds every field as a string.
bool ReadPayload(const nlohmann::json& payload, std::initializer_list<PayloadField> fields);

}  // namespace ZYRA::ResourceSchedule

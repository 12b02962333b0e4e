#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

namespace ZYRA::ResourceSchedule {

// A member that a payload must have, and where its text goes.
struct PayloadField {
    const char* key;
    std::string& text;
};

// Reads the fields of a payload, which comes from other processes and may be anything. Returns false unless it is an
// object that holds every field as a string; texts read before the field that is missing are then set already.
bool ReadPayload(const nlohmann::json& payload, std::initializer_list<PayloadField> fields);

}  // namespace ZYRA::ResourceSchedule

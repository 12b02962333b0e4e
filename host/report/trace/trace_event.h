// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>

#include "host/report/trace/proto_message.h"

namespace ZYRA::Host {

// What is told of a slice or an instant on a track. Texts that are not UTF-8 are mended.
class TraceEvent {
public:
    explicit TraceEvent(const std::string& name);

    TraceEvent& Category(const char* category);
    // The arrow that leads from here to the event which it ends at. An id is used for one arrow only.
    TraceEvent& StartFlow(uint64_t id);
    TraceEvent& EndFlow(uint64_t id);

    // A named value, as the viewer shows it of an event that is selected.
    template <typename Value>
    TraceEvent& Note(const std::string& name, const Value& value) {
        if constexpr (std::is_same_v<Value, bool>) {
            return AddNote(name, BOOL_VALUE, uint64_t{value});
        } else if constexpr (std::is_unsigned_v<Value>) {
            return AddNote(name, UINT_VALUE, uint64_t{value});
        } else if constexpr (std::is_integral_v<Value>) {
            return AddNote(name, INT_VALUE, static_cast<uint64_t>(int64_t{value}));
        } else {
            return AddNote(name, value);
        }
    }
    // Each member of an object; anything else as the value `payload`.
    TraceEvent& NoteMembers(const nlohmann::json& payload);

    // The fields of a TrackEvent but for its type and track.
    const std::string& Fields() const { return fields_.Bytes(); }

private:
    // Fields of a DebugAnnotation.
    static constexpr uint32_t BOOL_VALUE = 2;
    static constexpr uint32_t UINT_VALUE = 3;
    static constexpr uint32_t INT_VALUE = 4;

    TraceEvent& AddNote(const std::string& name, uint32_t field, uint64_t value);
    TraceEvent& AddNote(const std::string& name, const std::string& text);
    TraceEvent& AddNote(const std::string& name, const nlohmann::json& value);

    ProtoMessage fields_;
};

}  // namespace ZYRA::Host

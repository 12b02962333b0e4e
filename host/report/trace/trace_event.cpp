// SPDX-License-Identifier: Apache-2.0
#include "host/report/trace/trace_event.h"

#include <algorithm>

#include "host/report/json_text.h"

namespace ZYRA::Host {

namespace {

// Fields of a TrackEvent.
constexpr uint32_t DEBUG_ANNOTATIONS = 4;
constexpr uint32_t CATEGORIES = 22;
constexpr uint32_t NAME = 23;
constexpr uint32_t FLOW_IDS = 47;
constexpr uint32_t TERMINATING_FLOW_IDS = 48;

// Fields of a DebugAnnotation.
constexpr uint32_t DOUBLE_VALUE = 5;
constexpr uint32_t STRING_VALUE = 6;
constexpr uint32_t ANNOTATION_NAME = 10;

void AddText(ProtoMessage& message, uint32_t field, const std::string& text) {
    if (std::all_of(text.begin(), text.end(), [](unsigned char byte) { return byte < 0x80; })) {
        message.AddBytes(field, text);
    } else {
        message.AddBytes(field, nlohmann::json::parse(JsonLine(nlohmann::json(text))).get_ref<const std::string&>());
    }
}

}  // namespace

TraceEvent::TraceEvent(const std::string& name) {
    AddText(fields_, NAME, name);
}

TraceEvent& TraceEvent::Category(const char* category) {
    fields_.AddBytes(CATEGORIES, category);
    return *this;
}

TraceEvent& TraceEvent::StartFlow(uint64_t id) {
    fields_.AddFixed64(FLOW_IDS, id);
    return *this;
}

TraceEvent& TraceEvent::EndFlow(uint64_t id) {
    fields_.AddFixed64(TERMINATING_FLOW_IDS, id);
    return *this;
}

TraceEvent& TraceEvent::NoteMembers(const nlohmann::json& payload) {
    if (!payload.is_object()) {
        return AddNote("payload", payload);
    }
    for (const auto& [name, value] : payload.items()) {
        AddNote(name, value);
    }
    return *this;
}

TraceEvent& TraceEvent::AddNote(const std::string& name, uint32_t field, uint64_t value) {
    ProtoMessage note;
    AddText(note, ANNOTATION_NAME, name);
    note.AddVarint(field, value);
    fields_.AddMessage(DEBUG_ANNOTATIONS, note);
    return *this;
}

TraceEvent& TraceEvent::AddNote(const std::string& name, const std::string& text) {
    ProtoMessage note;
    AddText(note, ANNOTATION_NAME, name);
    AddText(note, STRING_VALUE, text);
    fields_.AddMessage(DEBUG_ANNOTATIONS, note);
    return *this;
}

TraceEvent& TraceEvent::AddNote(const std::string& name, const nlohmann::json& value) {
    if (value.is_string()) {
        return AddNote(name, value.get_ref<const std::string&>());
    }
    if (value.is_boolean()) {
        return Note(name, value.get<bool>());
    }
    if (value.is_number_unsigned()) {
        return Note(name, value.get<uint64_t>());
    }
    if (value.is_number_integer()) {
        return Note(name, value.get<int64_t>());
    }
    if (value.is_number_float()) {
        ProtoMessage note;
        AddText(note, ANNOTATION_NAME, name);
        note.AddDouble(DOUBLE_VALUE, value.get<double>());
        fields_.AddMessage(DEBUG_ANNOTATIONS, note);
        return *this;
    }
    return AddNote(name, JsonLine(value));
}

}  // namespace ZYRA::Host

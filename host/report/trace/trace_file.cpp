// SPDX-License-Identifier: Apache-2.0
#include "host/report/trace/trace_file.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

constexpr uint64_t NS_PER_US = 1000;

// Field of a Trace.
constexpr uint32_t PACKET = 1;

// Fields of a TracePacket, and the only sequence of packets that there is.
constexpr uint32_t TIMESTAMP = 8;
constexpr uint32_t SEQUENCE_ID = 10;
constexpr uint32_t TRACK_EVENT = 11;
constexpr uint32_t SEQUENCE_FLAGS = 13;
constexpr uint32_t TRACK_DESCRIPTOR = 60;
constexpr uint64_t SEQUENCE = 1;
constexpr uint64_t INCREMENTAL_STATE_CLEARED = 1;

// Fields of a TrackDescriptor.
constexpr uint32_t UUID = 1;
constexpr uint32_t NAME = 2;
constexpr uint32_t PROCESS = 3;
constexpr uint32_t PARENT_UUID = 5;
constexpr uint32_t COUNTER = 8;
constexpr uint32_t CHILD_ORDERING = 11;
constexpr uint32_t SIBLING_ORDER_RANK = 12;
constexpr uint64_t EXPLICIT_ORDER = 3;

// Fields of a ProcessDescriptor and of a CounterDescriptor.
constexpr uint32_t PID = 1;
constexpr uint32_t PROCESS_NAME = 6;
constexpr uint32_t COUNTER_UNIT = 3;
constexpr uint64_t UNIT_COUNT = 2;
constexpr uint64_t UNIT_SIZE_BYTES = 3;

// Fields and types of a TrackEvent; the others are known to TraceEvent.
constexpr uint32_t EVENT_TYPE = 9;
constexpr uint32_t TRACK_UUID = 11;
constexpr uint32_t COUNTER_VALUE = 30;
constexpr uint64_t SLICE_BEGIN = 1;
constexpr uint64_t SLICE_END = 2;
constexpr uint64_t INSTANT = 3;
constexpr uint64_t COUNTER_EVENT = 4;

// The process's number does not matter, and is the same in every run.
constexpr uint64_t PROCESS_TRACK = 1;
constexpr uint64_t PROCESS_ID = 1;

ProtoMessage Child(uint64_t uuid, const std::string& name, uint64_t rank) {
    ProtoMessage track;
    track.AddVarint(UUID, uuid);
    track.AddBytes(NAME, name);
    track.AddVarint(PARENT_UUID, PROCESS_TRACK);
    track.AddVarint(SIBLING_ORDER_RANK, rank);
    return track;
}

ProtoMessage DescriptorPacket(const ProtoMessage& track) {
    ProtoMessage packet;
    packet.AddMessage(TRACK_DESCRIPTOR, track);
    return packet;
}

}  // namespace

TraceFile::TraceFile(OutputFile& file, const std::string& process) : file_(file), lastTrack_(PROCESS_TRACK) {
    ProtoMessage descriptor;
    descriptor.AddVarint(PID, PROCESS_ID);
    descriptor.AddBytes(PROCESS_NAME, process);
    ProtoMessage track;
    track.AddVarint(UUID, PROCESS_TRACK);
    track.AddMessage(PROCESS, descriptor);
    track.AddVarint(CHILD_ORDERING, EXPLICIT_ORDER);
    ProtoMessage packet = DescriptorPacket(track);
    packet.AddVarint(SEQUENCE_FLAGS, INCREMENTAL_STATE_CLEARED);
    WritePacket(packet);
}

uint64_t TraceFile::AddTrack(const std::string& name, uint64_t rank) {
    ProtoMessage packet = DescriptorPacket(Child(++lastTrack_, name, rank));
    WritePacket(packet);
    return lastTrack_;
}

uint64_t TraceFile::AddCounter(const std::string& name, uint64_t rank, TraceUnit unit) {
    ProtoMessage counter;
    counter.AddVarint(COUNTER_UNIT, unit == TraceUnit::BYTES ? UNIT_SIZE_BYTES : UNIT_COUNT);
    ProtoMessage track = Child(++lastTrack_, name, rank);
    track.AddMessage(COUNTER, counter);
    ProtoMessage packet = DescriptorPacket(track);
    WritePacket(packet);
    return lastTrack_;
}

void TraceFile::BeginSlice(int64_t timeUs, uint64_t track, const TraceEvent& event) {
    WriteEvent(timeUs, SLICE_BEGIN, track, event.Fields());
}

void TraceFile::EndSlice(int64_t timeUs, uint64_t track) {
    WriteEvent(timeUs, SLICE_END, track, "");
}

void TraceFile::WriteInstant(int64_t timeUs, uint64_t track, const TraceEvent& event) {
    WriteEvent(timeUs, INSTANT, track, event.Fields());
}

void TraceFile::WriteCounter(int64_t timeUs, uint64_t track, uint64_t value) {
    ProtoMessage fields;
    fields.AddVarint(COUNTER_VALUE, value);
    WriteEvent(timeUs, COUNTER_EVENT, track, fields.Bytes());
}

void TraceFile::WriteEvent(int64_t timeUs, uint64_t type, uint64_t track, const std::string& fields) {
    ProtoMessage event;
    event.AddVarint(EVENT_TYPE, type);
    event.AddVarint(TRACK_UUID, track);
    lastNs_ = std::max(static_cast<uint64_t>(timeUs) * NS_PER_US, lastNs_ + 1);
    ProtoMessage packet;
    packet.AddVarint(TIMESTAMP, lastNs_);
    packet.AddBytes(TRACK_EVENT, event.Bytes() + fields);
    WritePacket(packet);
}

void TraceFile::WritePacket(ProtoMessage& packet) {
    packet.AddVarint(SEQUENCE_ID, SEQUENCE);
    ProtoMessage trace;
    trace.AddMessage(PACKET, packet);
    file_.Write(trace.Bytes());
}

}  // namespace ZYRA::Host

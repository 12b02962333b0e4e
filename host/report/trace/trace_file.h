// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/replay/output_file.h"
#include "host/report/trace/trace_event.h"

namespace ZYRA::Host {

enum class TraceUnit : uint8_t { COUNT, BYTES };

// A trace of track events in the native format of Perfetto: one process with its tracks. Each event has a time of its
// own: those of one instant lie a nanosecond apart in the order in which they are written. Not thread-safe.
class TraceFile {
public:
    // `file` must outlive this object; it is finished after that.
    TraceFile(OutputFile& file, const std::string& process);

    // A track for slices and instants, or for a counter. Tracks stand in the order of their ranks.
    uint64_t AddTrack(const std::string& name, uint64_t rank);
    uint64_t AddCounter(const std::string& name, uint64_t rank, TraceUnit unit);

    // Slices of one track are ended from the innermost.
    void BeginSlice(int64_t timeUs, uint64_t track, const TraceEvent& event);
    void EndSlice(int64_t timeUs, uint64_t track);
    void WriteInstant(int64_t timeUs, uint64_t track, const TraceEvent& event);
    void WriteCounter(int64_t timeUs, uint64_t track, uint64_t value);

private:
    void WriteEvent(int64_t timeUs, uint64_t type, uint64_t track, const std::string& fields);
    void WritePacket(ProtoMessage& packet);

    OutputFile& file_;
    uint64_t lastTrack_;
    uint64_t lastNs_ = 0;
};

}  // namespace ZYRA::Host

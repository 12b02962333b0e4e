// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/report/trace/trace_file.h"

namespace ZYRA::Host {

// A track of a trace whose slices nest and are all ended. Not thread-safe.
class SliceTrack {
public:
    // `file` must outlive this object.
    SliceTrack(TraceFile& file, const std::string& name, uint64_t rank)
        : file_(file), uuid_(file.AddTrack(name, rank)) {}

    void Begin(int64_t timeUs, const TraceEvent& event) {
        file_.BeginSlice(timeUs, uuid_, event);
        ++depth_;
    }
    // Ends slices from the innermost on, until so many are open.
    void EndTo(int64_t timeUs, size_t depth) {
        for (; depth_ > depth; --depth_) {
            file_.EndSlice(timeUs, uuid_);
        }
    }
    void Instant(int64_t timeUs, const TraceEvent& event) { file_.WriteInstant(timeUs, uuid_, event); }

    size_t Depth() const { return depth_; }

private:
    TraceFile& file_;
    const uint64_t uuid_;
    size_t depth_ = 0;
};

}  // namespace ZYRA::Host

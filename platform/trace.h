// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform_api.h"

namespace ZYRA {

// Trace tag of the resource-schedule service.
constexpr uint64_t TRACE_TAG_RESSCHED = 1ULL << 33;

// Opens and closes a named span on the calling thread. Spans of a thread nest. Thread-safe, never fails.
PLATFORM_API void StartTrace(uint64_t tag, const std::string& name);
PLATFORM_API void FinishTrace(uint64_t tag);

// A span for the length of a scope.
class TraceSpan {
public:
    TraceSpan(uint64_t tag, const std::string& name) : tag_(tag) { StartTrace(tag, name); }
    ~TraceSpan() { FinishTrace(tag_); }
    TraceSpan(const TraceSpan&) = delete;
    TraceSpan& operator=(const TraceSpan&) = delete;

private:
    uint64_t tag_;
};

}  // namespace ZYRA

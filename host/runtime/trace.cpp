// SPDX-License-Identifier: Apache-2.0
#include "platform/trace.h"

#include <vector>

#include "host/runtime/journal.h"

namespace ZYRA {

namespace {

// The open spans of the calling thread: a span is closed by tag alone, but journaled by name.
thread_local std::vector<std::string> openSpans;

}  // namespace

void StartTrace(uint64_t /*tag*/, const std::string& name) {
    openSpans.push_back(name);
    if (Host::Journal::GetInstance().HasSinks()) {
        Host::Journal::GetInstance().Append(Host::SpanEntry{name, true});
    }
}

void FinishTrace(uint64_t /*tag*/) {
    if (openSpans.empty()) {
        return;
    }
    const std::string name = std::move(openSpans.back());
    openSpans.pop_back();
    Host::Journal::GetInstance().Append(Host::SpanEntry{name, false});
}

}  // namespace ZYRA

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// A sink of the journal for as long as this object lives; null is none.
class SinkRegistration {
public:
    explicit SinkRegistration(JournalSink* sink) : sink_(sink) {
        if (sink_ != nullptr) {
            Journal::GetInstance().AddSink(sink_);
        }
    }
    ~SinkRegistration() { Journal::GetInstance().RemoveSink(sink_); }
    SinkRegistration(const SinkRegistration&) = delete;
    SinkRegistration& operator=(const SinkRegistration&) = delete;

private:
    JournalSink* const sink_;
};

}  // namespace ZYRA::Host

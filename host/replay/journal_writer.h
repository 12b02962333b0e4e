// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/replay/output_file.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Writes the journal's lines to a file.
class JournalWriter final : public JournalSink {
public:
    // `file` must outlive the writer's registration as a sink; it is finished after that.
    explicit JournalWriter(OutputFile& file) : file_(file) {}

    void OnEntry(const JournalEntry& entry) override {
        file_.Write(ToJsonLine(entry));
        file_.Write("\n");
    }

private:
    OutputFile& file_;  // Guarded by the journal's lock, and by RemoveSink after that.
};

}  // namespace ZYRA::Host

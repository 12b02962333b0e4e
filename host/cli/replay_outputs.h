// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/wanted_file.h"
#include "host/replay/journal_writer.h"
#include "host/replay/log_level_filter.h"
#include "host/report/findings.h"
#include "host/report/timeline/run_timeline.h"
#include "host/report/trace/trace_writer.h"

namespace ZYRA::Host {

// The files that a replay is asked to leave. Journal and trace are written while it runs; the summary and the report
// when it is done, so that a run that fails leaves them as they were.
class ReplayOutputs {
public:
    // Adds the options, which write into this object.
    void AddTo(CLI::App& command);

    // Opens what is wanted, before the sandbox, where paths may lead elsewhere. What is `read` is not written. Returns
    // "", or one line on what is wrong.
    std::string Open(const std::vector<ReadFile>& read);

    // What is to be told of the run, of log lines those from `lowest` on. They live as long as this object.
    // REQUIRES: called once, after Open.
    std::vector<JournalSink*> Sinks(LogLevel lowest);

    // Both return "", or one line on what could not be written. The first is due when the run has ended, however it
    // has; the second when it has something to tell. `scenario` names it.
    std::string FinishSinks();
    std::string Write(const std::string& scenario, const Findings& findings);

    // Standard output, unless that is a file's.
    std::FILE* SummaryStream() const;
    // Whether lines on the terminal would get in the way of a file that is written meanwhile.
    bool IsWritingToStandardOutput() const { return journal_.IsStandardOutput() || trace_.IsStandardOutput(); }

private:
    std::string journalFile_;
    std::string traceFile_;
    std::string jsonFile_;
    std::string reportFile_;

    WantedFile journal_{journalFile_};
    WantedFile trace_{traceFile_};
    WantedResult json_{jsonFile_};
    WantedResult report_{reportFile_};

    std::optional<JournalWriter> journalWriter_;
    std::optional<LogLevelFilter> toJournal_;
    std::optional<TraceWriter> traceWriter_;
    std::optional<LogLevelFilter> toTrace_;
    std::optional<RunTimeline> timeline_;
    std::optional<LogLevelFilter> toTimeline_;
};

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_outputs.h"

#include <CLI/CLI.hpp>
#include <cstring>

#include "host/report/page/report_page.h"
#include "host/report/summary_json.h"

namespace ZYRA::Host {

namespace {

std::string WriteError(const std::string& file, int failure) {
    return failure == 0 ? "" : file + ": " + std::strerror(failure);
}

}  // namespace

void ReplayOutputs::AddTo(CLI::App& command) {
    command.add_option("--journal", journalFile_, "Where to write the journal; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--json", jsonFile_, "Where to write the summary for programs; - is standard output")
        ->type_name("FILE|-");
    command.add_option("--report", reportFile_, "Where to write a page for a browser that shows the run")
        ->type_name("FILE.html");
    command.add_option("--trace", traceFile_, "Where to write a timeline for a trace viewer; - is standard output")
        ->type_name("FILE|-");
}

std::string ReplayOutputs::Open(const std::vector<ReadFile>& read) {
    if (journal_.IsStandardOutput() + json_.IsStandardOutput() + trace_.IsStandardOutput() +
            report_.IsStandardOutput() >
        1) {
        return "iosched-host: only one of --journal, --json, --report and --trace can go to standard output";
    }
    if (std::string clash = WriteClash({journalFile_, traceFile_, jsonFile_, reportFile_}, read); !clash.empty()) {
        return clash;
    }
    for (WantedResult* result : {&json_, &report_}) {
        if (!result->Prepare()) {
            return FileError(result->Path()).Text();
        }
    }
    for (WantedFile* file : {&journal_, &trace_}) {
        if (!file->Create()) {
            return FileError(file->path).Text();
        }
    }
    return "";
}

std::vector<JournalSink*> ReplayOutputs::Sinks(LogLevel lowest) {
    std::vector<JournalSink*> sinks;
    if (journal_.file != nullptr) {
        sinks.push_back(&toJournal_.emplace(lowest, journalWriter_.emplace(*journal_.file)));
    }
    if (trace_.file != nullptr) {
        sinks.push_back(&toTrace_.emplace(lowest, traceWriter_.emplace(*trace_.file)));
    }
    if (report_.IsWanted()) {
        sinks.push_back(&toTimeline_.emplace(lowest, timeline_.emplace()));
    }
    return sinks;
}

std::string ReplayOutputs::FinishSinks() {
    if (traceWriter_) {
        traceWriter_->Finish();
    }
    const std::string journalError = WriteError(journalFile_, journal_.Finish());
    const std::string traceError = WriteError(traceFile_, trace_.Finish());
    return journalError.empty() ? traceError : journalError;
}

std::string ReplayOutputs::Write(const std::string& scenario, const Findings& findings) {
    const int jsonFailure = json_.IsWanted() ? json_.Write(SummaryJson(findings)) : 0;
    const int reportFailure = timeline_ ? report_.Write(ReportPage(scenario, findings, *timeline_)) : 0;
    const std::string jsonError = WriteError(jsonFile_, jsonFailure);
    return jsonError.empty() ? WriteError(reportFile_, reportFailure) : jsonError;
}

std::FILE* ReplayOutputs::SummaryStream() const {
    return IsWritingToStandardOutput() || json_.IsStandardOutput() || report_.IsStandardOutput() ? stderr : stdout;
}

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/launch/launch_runner.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <optional>
#include <thread>
#include <utility>

#include "host/pages/page_record.h"

namespace ZYRA::Host {

namespace {

// A page that is not complete by then counts as complete: the plugin gives up a start after ten seconds.
constexpr int64_t PAGE_TIMEOUT_US = 8000000;
// For what the disks still deliver after the end of a start.
constexpr std::chrono::milliseconds DISK_SETTLE{50};

void SleepUntil(int64_t monotonicUs) {
    const int64_t left = monotonicUs - MonotonicUs();
    if (left > 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(left));
    }
}

std::optional<uint64_t> Grown(const std::optional<uint64_t>& before, const std::optional<uint64_t>& after) {
    return before && after && *after >= *before ? std::optional(*after - *before) : std::nullopt;
}

}  // namespace

LaunchRunner::LaunchRunner(LaunchMachine& machine, const LaunchPlan& plan, ProgressLine& progress)
    : machine_(machine), plan_(plan), progress_(progress) {}

std::string LaunchRunner::Run(LaunchResult& result) {
    result_.command = plan_.program.arguments;
    result_.options.runs = plan_.runs;
    result_.options.headStartUs = plan_.headStartUs;
    result_.options.recordMode = plan_.mode == CollectionMode::EXACT ? "exact" : "passive";
    result_.options.readers = plan_.readers;
    std::string error = Prepare();
    error = error.empty() ? RunInTurn() : error;
    error = error.empty() && plan_.readers != 0 ? RunBusy() : error;
    if (device_ != nullptr) {
        for (const std::string& note : device_->Notes()) {
            result_.notes.push_back(note);
        }
    }
    if (error.empty()) {
        TellRecord();
    }
    result = std::move(result_);
    return error;
}

void LaunchRunner::Show(const std::string& step) {
    progress_.Show(plan_.program.arguments.front() + ": " + step);
}

std::string LaunchRunner::Prepare() {
    std::string error;
    if (!coldStart_.IsPossible(error)) {
        return error;
    }
    device_ = AppDevice::Start(machine_, {plan_.pluginPath, plan_.program.arguments.front(), plan_.mode}, error);
    if (device_ == nullptr) {
        return error;
    }
    return "";
}

std::string LaunchRunner::RunInTurn() {
    std::string error;
    for (uint64_t run = 0; run < plan_.runs && error.empty(); ++run) {
        error = Start(StartKind::COLD, Part::NONE);
        error = error.empty() ? Start(StartKind::WARM, Part::NONE) : error;
        if (error.empty() && HasRecord(error)) {
            error = Start(StartKind::PREREAD, Part::PREREADS);
        }
    }
    return error;
}

std::string LaunchRunner::RunBusy() {
    std::string error;
    Show("making files for the readers");
    const auto enter = [this] { return machine_.EnterInChild(); };
    readers_ = BackgroundReaders::Start({.count = plan_.readers}, enter, error);
    if (readers_ == nullptr) {
        return error;
    }
    const bool limits = plan_.limits && device_->HasLimits();
    if (plan_.limits) {
        result_.notes.push_back(device_->LimitNote());
    }
    for (uint64_t run = 0; run < plan_.runs && error.empty(); ++run) {
        error = Start(StartKind::BUSY_COLD, Part::NONE);
        if (error.empty() && HasRecord(error)) {
            error = Start(StartKind::BUSY_PREREAD, Part::PREREADS);
        }
        if (limits && error.empty() && HasRecord(error)) {
            // The plugin limits the processes that the device knows.
            device_->SetBackground(readers_->Pids());
            error = Start(StartKind::BUSY_PREREAD_LIMITED, Part::PREREADS);
            device_->AwaitLift();
            device_->SetBackground({});
        }
    }
    readers_.reset();
    return error;
}

bool LaunchRunner::HasRecord(std::string& error) {
    if (device_->IsRecorded()) {
        return true;
    }
    error = Start(StartKind::RECORDING, Part::COLLECTS);
    if (!error.empty()) {
        return false;
    }
    const bool isRecorded = device_->IsRecorded();
    const std::string note =
        "a record was not up to date when it had just been made; that start stands in place of one with preread";
    if (!isRecorded && std::find(result_.notes.begin(), result_.notes.end(), note) == result_.notes.end()) {
        result_.notes.push_back(note);
    }
    return isRecorded;
}

std::string LaunchRunner::Start(StartKind kind, Part part) {
    Show(StartLabel(kind));
    std::string error;
    auto output = ProgramOutput::Create();
    if (output == nullptr) {
        return "cannot keep the program's output: " + std::string(std::strerror(errno));
    }
    if (readers_ != nullptr) {
        readers_->Pause();
    }
    if (kind != StartKind::WARM && !coldStart_.Make(error)) {
        return error;
    }
    const auto enter = [this] { return machine_.EnterInChild(); };
    const auto program = HeldProgram::Fork(enter, plan_.program, *output, error);
    if (program == nullptr) {
        return error;
    }
    if (part == Part::PREREADS) {
        device_->ExpectProcess(program->Pid());
    }
    const bool isBusy = readers_ != nullptr && kind != StartKind::RECORDING;
    if (isBusy) {
        readers_->Resume();
    }
    const auto bytesBefore = machine_.BytesReadFromDisks();
    ProcessEnd end;
    error = LetGo(*program, part);
    error = error.empty() ? Follow(*program, part, end) : error;
    if (!error.empty()) {
        return error;
    }
    std::this_thread::sleep_for(DISK_SETTLE);
    const auto bytes = isBusy ? std::nullopt : Grown(bytesBefore, machine_.BytesReadFromDisks());
    result_.starts[kind].push_back({end.atUs - wantedAtUs_, bytes, end.status});
    return NoteOutput(std::move(output));
}

// Lets the held process go when it is wanted, or as soon after that as it may.
std::string LaunchRunner::LetGo(HeldProgram& program, Part part) {
    std::string error;
    wantedAtUs_ = MonotonicUs();
    if (part != Part::NONE) {
        device_->StartAbility();
        wantedAtUs_ += plan_.headStartUs;
        SleepUntil(wantedAtUs_);
    }
    if (part == Part::COLLECTS) {
        device_->StartProcess(program.Pid());
        error = device_->AwaitReady(program.Pid());
    }
    if (error.empty() && program.Go(error) && part == Part::PREREADS) {
        device_->StartProcess(program.Pid());
    }
    return error;
}

// Sees the program to its end, and the plugin's work on it to its.
std::string LaunchRunner::Follow(HeldProgram& program, Part part, ProcessEnd& end) {
    std::optional<ProcessEnd> ended = program.Wait(MonotonicUs() + PAGE_TIMEOUT_US);
    if (part != Part::NONE) {
        // A program that has ended at once may have been quicker than the plugin.
        if (std::string error = device_->AwaitReady(program.Pid()); !error.empty()) {
            return error;
        }
        device_->CompletePage(program.Pid());
    }
    if (!ended) {
        ended = program.Wait(std::nullopt);
    }
    end = *ended;
    return part == Part::NONE ? "" : device_->AwaitEnd(program.Pid());
}

// The first start's output is the user's; of the others it is only told whether it was the same.
std::string LaunchRunner::NoteOutput(std::unique_ptr<ProgramOutput> output) {
    if (output_ != nullptr) {
        result_.isOutputSame = result_.isOutputSame.value_or(true) && output_->SameAs(*output);
        return "";
    }
    output_ = std::move(output);
    progress_.Clear();
    if (!output_->PassThrough(plan_.outputFd)) {
        return std::string("cannot write what the program wrote: ") + std::strerror(errno);
    }
    std::string shown = isatty(plan_.outputFd) == 1 ? output_->Text(OutputStream::OUT) : "";
    shown += output_->Text(OutputStream::ERR);
    if (!shown.empty() && shown.back() != '\n') {
        progress_.EndLine();
    }
    return "";
}

void LaunchRunner::TellRecord() {
    const PrereadCounts counts = device_->Counts();
    result_.preread = counts;
    const auto record = device_->Pages().RecordOf(device_->Scene());
    if (record == nullptr) {
        return;
    }
    LaunchRecord told;
    told.files = record->RegularFiles();
    told.pages = record->Pages();
    told.bytes = told.pages * BYTES_PER_PAGE;
    told.fileBytes = EncodeRecord(*record).size();
    if (const auto fit = device_->Pages().FitOf(device_->Scene()); fit) {
        told.comparedPages = fit->recorded;
        told.untouchedPages = fit->neverTouched;
        told.missedPages = fit->Missed();
    }
    result_.record = told;
}

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/launch/app_device.h"
#include "host/launch/background_readers.h"
#include "host/launch/cold_start.h"
#include "host/launch/held_program.h"
#include "host/launch/launch_result.h"
#include "host/launch/program_command.h"
#include "host/launch/program_output.h"
#include "host/report/progress_line.h"

namespace ZYRA::Host {

struct LaunchPlan {
    ProgramCommand program;
    uint64_t runs = 1;
    int64_t headStartUs = 0;
    // How many readers there are beside the busy starts.
    uint64_t readers = 0;
    bool limits = true;
    CollectionMode mode = CollectionMode::EXACT;
    std::string pluginPath;
    // Where the host passes on what the program writes to standard output.
    int outputFd = STDOUT_FILENO;
};

// Starts a real program again and again, cold and warm, without the plugin and with it, in turn. Used by one thread.
//
// The wait of a start is the time from when its process is wanted, which is `headStartUs` after the ability start,
// until the program has ended: what the plugin needs to get ready for the process is part of it.
class LaunchRunner {
public:
    // `machine` and `progress` must outlive the object. REQUIRES: inside the sandbox, one thread.
    LaunchRunner(LaunchMachine& machine, const LaunchPlan& plan, ProgressLine& progress);

    // Returns "" and the result, or one line and what there is of it, among that the notes.
    std::string Run(LaunchResult& result);

private:
    // How the plugin takes part in a start. A program that it collects is held until it is listened to.
    enum class Part { NONE, PREREADS, COLLECTS };

    void Show(const std::string& step);
    std::string Prepare();
    std::string RunInTurn();
    std::string RunBusy();
    // Whether there is a record that is up to date; one that is not is made first, while no reader reads. When that is
    // in vain `error` tells why, or a note.
    bool HasRecord(std::string& error);
    // One start, whose sample is added to those of its kind.
    std::string Start(StartKind kind, Part part);
    std::string LetGo(HeldProgram& program, Part part);
    std::string Follow(HeldProgram& program, Part part, ProcessEnd& end);
    std::string NoteOutput(std::unique_ptr<ProgramOutput> output);
    void TellRecord();

    LaunchMachine& machine_;
    const LaunchPlan plan_;
    ProgressLine& progress_;
    ColdStart coldStart_;
    std::unique_ptr<AppDevice> device_;
    std::unique_ptr<BackgroundReaders> readers_;
    // What the first start has written.
    std::unique_ptr<ProgramOutput> output_;
    int64_t wantedAtUs_ = 0;
    LaunchResult result_;
};

}  // namespace ZYRA::Host

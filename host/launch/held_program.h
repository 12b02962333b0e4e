// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "host/launch/child_process.h"
#include "host/launch/program_command.h"
#include "host/launch/program_output.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// A program's process, made and held before the program's first instruction, so that everything else can be prepared
// for a process that exists. It leads a process group of its own; its standard input is empty, its signals are handled
// by default, and it dies with the host, held or not. One thread, which must outlive the object.
class HeldProgram {
public:
    // Makes the process, and the host a child subreaper; on failure null, and one line in `error`. In the child
    // `enterMachine` goes first: it makes async-signal-safe calls only, and ends the attempt with false, errno telling
    // why. `output` is where the program writes; its files are the child's too, so that the object may go before the
    // program does.
    static std::unique_ptr<HeldProgram> Fork(const std::function<bool()>& enterMachine, const ProgramCommand& command,
                                             const ProgramOutput& output, std::string& error);

    // Kills what is left of the program, whether it has ended or not, and returns when nothing of it is there: what it
    // had mapped can be dropped from the page cache. That is its process group, and what has left that, where the
    // kernel tells the host's children. REQUIRES: of the host's other children, each is older or has been reaped.
    ~HeldProgram();
    HeldProgram(const HeldProgram&) = delete;
    HeldProgram& operator=(const HeldProgram&) = delete;

    // The number is not given to another process while this object lives.
    pid_t Pid() const { return process_->Pid(); }

    // Lets the program start. Returns when it has been executed, with the monotonic microseconds at which it was let
    // go; nothing, and one line in `error`, when it could not be executed. REQUIRES: called once.
    std::optional<int64_t> Go(std::string& error);

    // The program's end, or nothing when it still runs at the monotonic time `untilUs`; without one it waits for ever.
    std::optional<ProcessEnd> Wait(std::optional<int64_t> untilUs) { return process_->WaitForEnd(untilUs); }

private:
    HeldProgram() = default;

    std::string executable_;
    std::set<pid_t> olderChildren_;
    ChildReport report_;
    UniqueFd go_;
    std::unique_ptr<ChildProcess> process_;
    bool isHeld_ = false;
};

}  // namespace ZYRA::Host

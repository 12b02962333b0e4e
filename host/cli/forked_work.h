// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/cli/stop_signals.h"

namespace ZYRA::Host {

// How work in a process of its own has ended.
struct ForkedEnd {
    int status = 0;      // As of waitpid(2).
    std::string answer;  // All that it has written for its parent.
    bool wasStopped = false;
};

// Asks the process of RunForked to stop; blocked by an inbox from before the fork on.
constexpr int FORKED_STOP_SIGNAL = SIGUSR1;

// Runs `body` in a forked process, which dies with this one, and waits for its end. `body` writes its answer to the
// descriptor that it is given; what it returns is the exit status. The first signal in the inbox is passed on to the
// process as FORKED_STOP_SIGNAL, the second ends both. Returns nothing with errno set when there is no process to be
// had.
// REQUIRES: the process has one thread.
std::optional<ForkedEnd> RunForked(const std::function<int(int answer)>& body, SignalInbox& signals);

}  // namespace ZYRA::Host

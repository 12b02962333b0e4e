// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Microseconds of CLOCK_MONOTONIC.
int64_t MonotonicUs();

struct ProcessEnd {
    int status = 0;  // As of waitpid(2).
    int64_t atUs = 0;
};

// The processes whose parent this one is, with those that have ended and were not waited for. Empty where the kernel
// does not tell.
std::set<pid_t> Children();

// Kills and reaps every child that is not among the spared, and what becomes a child by that, until there is none.
void KillChildrenBut(const std::set<pid_t>& spared);

// A forked process of ours. It stays a zombie when it has ended, so that its number, and that of the group that it
// leads, are nobody else's for as long as this object lives. Not thread-safe.
class ChildProcess {
public:
    // Forks; `body` runs in the child, whose signals are handled by default and none of them blocked, and its result is
    // the exit status. The host has several threads: `body` makes async-signal-safe calls only. The child is killed
    // when the calling thread ends, and with it the host. Returns null with errno set on failure.
    static std::unique_ptr<ChildProcess> Fork(const std::function<int()>& body);

    // Kills it if it runs, and reaps it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }

    // Nothing happens when it has ended.
    void Signal(int number) const;

    // SIGSTOP; returns when it is stopped, or has ended.
    void Stop() const;

    // Returns when it has ended, or nothing at the monotonic time `untilUs` (absent: waits for ever). The time of the
    // end is taken at once when it shows, which is only while somebody waits here.
    std::optional<ProcessEnd> WaitForEnd(std::optional<int64_t> untilUs);

    // Of the group that it leads: kills every process, and returns when they have given back what they held. The host
    // must be a child subreaper (prctl(2)), so that orphans of the group are its children. Ends this object's use.
    void KillGroup();

private:
    ChildProcess(pid_t pid, UniqueFd pidFd) : pid_(pid), pidFd_(std::move(pidFd)) {}

    const pid_t pid_;
    const UniqueFd pidFd_;  // None on a kernel before 5.3.
    std::optional<ProcessEnd> end_;
    bool isReaped_ = false;
};

// How a child tells its parent how far it got, or why not further. It closes when the child executes a program.
class ChildReport {
public:
    struct Message {
        int32_t step;  // What the two have agreed on.
        int32_t error;
    };

    // False with errno set on failure. The descriptors are close-on-exec, and beyond those of standard input and
    // output, so that the child can move others there.
    bool Open();

    int ChildEnd() const { return writing_.Get(); }
    void Tell(int32_t step, int32_t error) const;  // In the child; async-signal-safe.

    // In the parent, after the fork: waits for a message; nothing when the child's end is closed.
    std::optional<Message> Next();

private:
    UniqueFd reading_;
    UniqueFd writing_;
};

// Two connected sockets; on failure false with errno set. Close-on-exec and beyond standard input and output, as above.
bool OpenSockets(UniqueFd& one, UniqueFd& other);

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/cli/forked_work.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

[[noreturn]] void RunChild(pid_t parent, const std::function<int(int)>& body, int answer) {
    int status = EXIT_FAILURE;
    // The parent may have died before the death signal was asked for.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent) {
        try {
            status = body(answer);
        } catch (const std::exception& exception) {
            std::fprintf(stderr, "iosched-host: %s\n", exception.what());
        }
    }
    _exit(status);
}

// Reads until the process has closed its end, and passes a signal on.
void Follow(pid_t process, int answer, SignalInbox& signals, ForkedEnd& end) {
    pollfd waited[] = {{answer, POLLIN, 0}, {signals.Fd(), POLLIN, 0}};
    std::array<char, 1 << 16> piece;
    ssize_t size = 1;
    while (size > 0) {
        RetryOnEintr([&] { return poll(waited, std::size(waited), -1); });
        if (const auto number = waited[1].revents != 0 ? signals.Take() : std::nullopt; number) {
            if (end.wasStopped) {
                SignalInbox::DieOf(*number);
            }
            end.wasStopped = true;
            kill(process, FORKED_STOP_SIGNAL);
        }
        if (waited[0].revents != 0) {
            size = RetryOnEintr([&] { return read(answer, piece.data(), piece.size()); });
            end.answer.append(piece.data(), size > 0 ? static_cast<size_t>(size) : 0);
        }
    }
}

}  // namespace

std::optional<ForkedEnd> RunForked(const std::function<int(int answer)>& body, SignalInbox& signals) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process == 0) {
        RunChild(parent, body, writing.Get());
    }
    if (process < 0) {
        return std::nullopt;
    }
    writing.Reset();
    ForkedEnd end;
    Follow(process, reading.Get(), signals, end);
    RetryOnEintr([&] { return waitpid(process, &end.status, 0); });
    return end;
}

}  // namespace ZYRA::Host

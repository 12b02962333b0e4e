// SPDX-License-Identifier: Apache-2.0
#include "host/launch/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>

#include "host/runtime/retry_on_eintr.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t US_PER_S = 1000000;
constexpr int64_t NS_PER_US = 1000;
constexpr int64_t ASKING_INTERVAL_US = 1000;
constexpr int FIRST_OWN_FD = 3;
constexpr int CORE_DUMPED = 0x80;

// What is ignored stays ignored when a program is executed, and what is handled would run the host's handlers before.
void ResetSignals() {
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        sigaction(number, &byDefault, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Where the signal is ignored, as the host may have inherited it, a child that ends leaves no status behind.
void KeepStatuses() {
    struct sigaction present = {};
    if (sigaction(SIGCHLD, nullptr, &present) == 0 && present.sa_handler == SIG_IGN) {
        signal(SIGCHLD, SIG_DFL);
    }
}

// Waits until the descriptor can be read; -1 as descriptor only waits, and -1 as time is for ever. False when not.
bool PollFor(int fd, int64_t us) {
    pollfd polled = {fd, POLLIN, 0};
    const timespec bound = {us / US_PER_S, us % US_PER_S * NS_PER_US};
    return ppoll(&polled, 1, us < 0 ? nullptr : &bound, nullptr) > 0;
}

// As waitpid(2) would have told it.
int StatusOf(const siginfo_t& info) {
    constexpr int EXIT_STATUS_SHIFT = 8;
    return info.si_code == CLD_EXITED ? info.si_status << EXIT_STATUS_SHIFT
                                      : info.si_status | (info.si_code == CLD_DUMPED ? CORE_DUMPED : 0);
}

bool MoveFromStdio(UniqueFd& fd) {
    if (fd.Get() < FIRST_OWN_FD) {
        fd.Reset(fcntl(fd.Get(), F_DUPFD_CLOEXEC, FIRST_OWN_FD));
    }
    return fd.Valid();
}

bool TakeBoth(const int (&ends)[2], UniqueFd& one, UniqueFd& other) {
    one.Reset(ends[0]);
    other.Reset(ends[1]);
    return MoveFromStdio(one) && MoveFromStdio(other);
}

}  // namespace

int64_t MonotonicUs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * US_PER_S + now.tv_nsec / NS_PER_US;
}

std::set<pid_t> Children() {
    std::set<pid_t> children;
    std::error_code error;
    // Each thread has its own; an orphan becomes one of whichever.
    std::filesystem::directory_iterator thread("/proc/self/task", error);
    for (; !error && thread != std::filesystem::directory_iterator(); thread.increment(error)) {
        std::string text;
        LoadStringFromFile(thread->path() / "children", text);
        std::istringstream numbers(text);
        for (pid_t pid = 0; numbers >> pid;) {
            children.insert(pid);
        }
    }
    return children;
}

void KillChildrenBut(const std::set<pid_t>& spared) {
    for (bool isAnyLeft = true; isAnyLeft;) {
        isAnyLeft = false;
        for (const pid_t pid : Children()) {
            if (!spared.contains(pid)) {
                kill(pid, SIGKILL);
                RetryOnEintr([pid] { return waitpid(pid, nullptr, 0); });
                isAnyLeft = true;
            }
        }
    }
}

bool OpenSockets(UniqueFd& one, UniqueFd& other) {
    int ends[2];
    return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0 && TakeBoth(ends, one, other);
}

std::unique_ptr<ChildProcess> ChildProcess::Fork(const std::function<int()>& body) {
    KeepStatuses();
    const pid_t parent = getpid();
    // Until the child has put the handlers away, no signal may find them.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = fork();
    if (pid == 0) {
        ResetSignals();
        // The parent may have died before the death signal was asked for.
        const bool isOurs = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
        _exit(isOurs ? body() : EXIT_FAILURE);
    }
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (pid < 0) {
        errno = error;
        return nullptr;
    }
    UniqueFd pidFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    return std::unique_ptr<ChildProcess>(new ChildProcess(pid, std::move(pidFd)));
}

ChildProcess::~ChildProcess() {
    if (!isReaped_) {
        Signal(SIGKILL);
        RetryOnEintr([this] { return waitpid(pid_, nullptr, 0); });
    }
}

void ChildProcess::Signal(int number) const {
    kill(pid_, number);
}

// Each that is reaped has handed its children on to the host before.
void ChildProcess::KillGroup() {
    kill(-pid_, SIGKILL);
    while (RetryOnEintr([this] { return waitpid(-pid_, nullptr, 0); }) > 0) {
    }
    isReaped_ = true;
}

void ChildProcess::Stop() const {
    Signal(SIGSTOP);
    siginfo_t info = {};
    RetryOnEintr([&] { return waitid(P_PID, static_cast<id_t>(pid_), &info, WSTOPPED | WEXITED | WNOWAIT); });
}

std::optional<ProcessEnd> ChildProcess::WaitForEnd(std::optional<int64_t> untilUs) {
    while (!end_) {
        int64_t restUs = untilUs ? std::max<int64_t>(*untilUs - MonotonicUs(), 0) : -1;
        if (!pidFd_.Valid()) {
            restUs = restUs < 0 ? ASKING_INTERVAL_US : std::min(restUs, ASKING_INTERVAL_US);
        }
        PollFor(pidFd_.Get(), restUs);
        const int64_t nowUs = MonotonicUs();
        siginfo_t info = {};
        if (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid_) {
            end_ = {StatusOf(info), nowUs};
        } else if (untilUs && nowUs >= *untilUs) {
            return std::nullopt;
        }
    }
    return end_;
}

bool ChildReport::Open() {
    int ends[2];
    return pipe2(ends, O_CLOEXEC) == 0 && TakeBoth(ends, reading_, writing_);
}

// Shorter than what a pipe takes whole.
void ChildReport::Tell(int32_t step, int32_t error) const {
    const Message message = {step, error};
    RetryOnEintr([&] { return write(writing_.Get(), &message, sizeof(message)); });
}

std::optional<ChildReport::Message> ChildReport::Next() {
    writing_.Reset();
    Message message = {};
    const ssize_t size = RetryOnEintr([&] { return read(reading_.Get(), &message, sizeof(message)); });
    return size == sizeof(message) ? std::optional(message) : std::nullopt;
}

}  // namespace ZYRA::Host

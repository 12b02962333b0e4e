// SPDX-License-Identifier: Apache-2.0
#include "host/machine/guardian_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "host/machine/guardian_message.h"
#include "host/machine/undo_list.h"
#include "host/runtime/retry_on_eintr.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

namespace {

constexpr int AFTER_STANDARD_STREAMS = 3;

// Those that a terminal, a service manager or a careless script sends to more than the host.
constexpr int IGNORED_SIGNALS[] = {SIGINT,  SIGTERM, SIGHUP,  SIGPIPE, SIGQUIT, SIGTSTP,
                                   SIGTTIN, SIGTTOU, SIGUSR1, SIGUSR2, SIGALRM};

void CloseFrom(int first, int last) {
    if (close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0) {
        return;
    }
    // An old kernel. The list is complete before any of it is closed, the listing's own descriptor included.
    std::vector<int> open;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end; !error && entry != end;
         entry.increment(error)) {
        open.push_back(std::stoi(entry->path().filename()));
    }
    for (const int fd : open) {
        if (fd >= first && fd <= last) {
            close(fd);
        }
    }
}

// Leaves all that ties the process to the host's terminal, folders, pipes and locks. Returns the socket, which is the
// only descriptor that is kept.
int Detach(int socket) {
    for (const int number : IGNORED_SIGNALS) {
        std::signal(number, SIG_IGN);
    }
    setsid();
    prctl(PR_SET_NAME, "iosched-guard");
    const int kept = fcntl(socket, F_DUPFD_CLOEXEC, AFTER_STANDARD_STREAMS);
    if (kept < 0) {
        // The host learns it from the end of the socket.
        _exit(1);
    }
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = 0; stream < AFTER_STANDARD_STREAMS; ++stream) {
        if (null < 0 || dup2(null, stream) < 0) {
            close(stream);
        }
    }
    if (chdir("/") != 0) {
        // The folder stays in use until the host ends.
    }
    if (kept > AFTER_STANDARD_STREAMS) {
        CloseFrom(AFTER_STANDARD_STREAMS, kept - 1);
    }
    CloseFrom(kept + 1, INT_MAX);
    return kept;
}

// Waits until there is something to read on the socket: a message or its end. False when the host has ended; a process
// that the host has left behind may hold the other end of the socket then.
bool WaitForHost(int socket, int host) {
    pollfd waited[] = {{socket, POLLIN, 0}, {host, POLLIN, 0}};
    RetryOnEintr([&] { return poll(waited, std::size(waited), -1); });
    return waited[1].revents == 0;
}

int Note(UndoList& list, const GuardianMessage& message, UniqueFd file) {
    if (list.Find(message.path) != nullptr) {
        return 0;
    }
    if (message.kind == ChangeKind::SETTING && !file.Valid()) {
        return EMFILE;
    }
    list.Add({message.kind, message.path, message.original, std::move(file)});
    return 0;
}

int Answer(UndoList& list, const GuardianMessage& message, UniqueFd file) {
    switch (message.request) {
        case GuardianRequest::NOTE:
            return Note(list, message, std::move(file));
        case GuardianRequest::FORGET:
            list.Forget(message.path);
            return 0;
    }
    return EINVAL;
}

void Serve(UndoList& list, int socket, int host) {
    GuardianMessage message = {};
    UniqueFd file;
    while (WaitForHost(socket, host) && ReceiveMessage(socket, message, file) &&
           SendAnswer(socket, Answer(list, message, std::move(file)))) {
    }
}

}  // namespace

void RunGuardian(int socket, pid_t host) {
    int status = 1;
    try {
        const int kept = Detach(socket);
        // Without one, on an old kernel, the end of the socket alone tells; poll(2) leaves out a descriptor of -1.
        const int watched = static_cast<int>(syscall(SYS_pidfd_open, host, 0));
        // Its number may be another process's then.
        const bool isGone = getppid() != host;
        UndoList list;
        try {
            if (!isGone) {
                Serve(list, kept, watched);
            }
        } catch (const std::exception&) {
            // Out of memory: what is noted is undone now, and the host is told by the end of the socket.
        }
        status = list.UndoAll().empty() ? 0 : 1;
    } catch (const std::exception&) {
    }
    _exit(status);
}

}  // namespace ZYRA::Host

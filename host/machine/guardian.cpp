// SPDX-License-Identifier: Apache-2.0
#include "host/machine/guardian.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "host/machine/guardian_process.h"
#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr mode_t GROUP_MODE = 0755;

std::string Advice(int error) {
    switch (error) {
        case EPIPE:
            return ": the guardian, which would undo it, has died; end this run and start it again";
        case EWOULDBLOCK:
            return ": another host has changed it; wait for that one to end, or end it";
        case EACCES:
        case EPERM:
            return ": " + std::generic_category().message(error) + "; run as root";
        case EROFS:
            return ": " + std::generic_category().message(error) + "; mount it writable";
        case ENAMETOOLONG:
            return ": its path or its content is too long to be noted";
        default:
            return ": " + std::generic_category().message(error);
    }
}

}  // namespace

Guardian::Guardian(pid_t pid, UniqueFd socket) : owner_(getpid()), pid_(pid), socket_(std::move(socket)) {}

Guardian::~Guardian() {
    Finish();
}

std::unique_ptr<Guardian> Guardian::Start(std::string& error) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        error = "cannot have a socket for the guardian" + Advice(errno);
        return nullptr;
    }
    UniqueFd mine(ends[0]);
    UniqueFd its(ends[1]);
    const pid_t host = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        error = "cannot start the guardian" + Advice(errno);
        return nullptr;
    }
    if (pid == 0) {
        RunGuardian(its.Get(), host);
    }
    return std::unique_ptr<Guardian>(new Guardian(pid, std::move(mine)));
}

int Guardian::Ask(GuardianRequest request, ChangeKind kind, const std::string& path, const std::string& original,
                  int file) {
    GuardianMessage message = {};
    if (!FillMessage(message, request, kind, path, original)) {
        return errno;
    }
    int answer = 0;
    const bool isAnswered = SendMessage(socket_.Get(), message, file) && ReceiveAnswer(socket_.Get(), answer);
    return isAnswered ? answer : EPIPE;
}

std::string Guardian::HoldSetting(const std::string& path, const std::optional<std::string>& restoring) {
    UniqueFd file;
    std::string content;
    const bool isNoted = list_.Find(path) != nullptr;
    int error = isNoted ? 0 : OpenSetting(path, file, content);
    const std::string& original = restoring ? *restoring : content;
    // Also what is noted, to learn that the guardian still knows.
    error = error == 0 ? Ask(GuardianRequest::NOTE, ChangeKind::SETTING, path, original, file.Get()) : error;
    if (error != 0) {
        return "cannot change " + path + Advice(error);
    }
    if (!isNoted) {
        list_.Add({ChangeKind::SETTING, path, original, std::move(file)});
    }
    return "";
}

std::string Guardian::ChangeSetting(const std::string& path, const std::string& value,
                                    const std::optional<std::string>& restoring) {
    MutexLock lock(mutex_);
    const bool isNew = list_.Find(path) == nullptr;
    if (std::string refusal = HoldSetting(path, restoring); !refusal.empty()) {
        return refusal;
    }
    const UndoNote* const note = list_.Find(path);
    const int error = WriteSetting(note->file.Get(), value);
    if (error == 0) {
        return "";
    }
    if (isNew) {
        // The kernel has refused the value; what it may have taken of it is taken back at once.
        WriteSetting(note->file.Get(), note->original);
        Ask(GuardianRequest::FORGET, ChangeKind::SETTING, path);
        list_.Forget(path);
    }
    return "cannot set " + path + " to " + value + Advice(error);
}

std::string Guardian::RestoreSetting(const std::string& path) {
    MutexLock lock(mutex_);
    const UndoNote* const note = list_.Find(path);
    if (note == nullptr) {
        return "";
    }
    if (const int error = WriteSetting(note->file.Get(), note->original); error != 0) {
        return "cannot set " + path + " back" + Advice(error);
    }
    Ask(GuardianRequest::FORGET, ChangeKind::SETTING, path);
    list_.Forget(path);
    return "";
}

std::string Guardian::MakeGroup(const std::string& folder) {
    MutexLock lock(mutex_);
    struct stat status = {};
    int error = lstat(folder.c_str(), &status) == 0 ? EEXIST : 0;
    error = error == 0 ? Ask(GuardianRequest::NOTE, ChangeKind::GROUP, folder) : error;
    if (error == 0 && mkdir(folder.c_str(), GROUP_MODE) != 0) {
        error = errno;
        Ask(GuardianRequest::FORGET, ChangeKind::GROUP, folder);
    }
    if (error != 0) {
        return "cannot make the group " + folder + Advice(error);
    }
    list_.Add({ChangeKind::GROUP, folder});
    return "";
}

std::string Guardian::RemoveGroup(const std::string& folder) {
    MutexLock lock(mutex_);
    if (list_.Find(folder) == nullptr) {
        return "";
    }
    if (const int error = RemoveGroupFolder(folder, Patience::A_MINUTE); error != 0) {
        return "cannot remove the group " + folder + Advice(error);
    }
    Ask(GuardianRequest::FORGET, ChangeKind::GROUP, folder);
    list_.Forget(folder);
    return "";
}

std::string Guardian::Finish() {
    MutexLock lock(mutex_);
    if (!socket_.Valid() || getpid() != owner_) {
        socket_.Reset();
        return "";
    }
    // Also where a forked child still holds the socket.
    shutdown(socket_.Get(), SHUT_RDWR);
    socket_.Reset();
    int status = -1;
    const pid_t ended = RetryOnEintr([&] { return waitpid(pid_, &status, 0); });
    if (ended == pid_ && status == 0) {
        list_ = UndoList();
        return "";
    }
    // It has died, or not everything went well, or somebody else has waited for it: to undo twice does no harm as long
    // as the settings' locks are held.
    std::string line;
    for (const std::string& path : list_.UndoAll()) {
        line += (line.empty() ? "cannot undo the change of " : ", ") + path;
    }
    return line;
}

}  // namespace ZYRA::Host

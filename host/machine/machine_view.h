// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// The machine's file system as it was before the host entered its sandbox, for what has to reach it from inside:
// programs that run on the real machine, and the files that they read. Thread-safe after its making.
class MachineView {
public:
    // Nothing on failure, with one line in `error`. REQUIRES: called before the process enters the sandbox.
    static std::optional<MachineView> Capture(std::string& error);

    // Opens a file of the machine by its absolute path; `flags` are those of open(2), O_NOFOLLOW, O_NONBLOCK, O_NOCTTY
    // and O_CLOEXEC are added. Returns 0 or an errno, among them ELOOP where the path itself is a link (with O_PATH the
    // link is opened); links on the way lead to what they lead to on the machine (on a kernel without openat2(2)
    // absolute ones lead into the sandbox). On failure `file` is of no use. REQUIRES: no O_CREAT.
    int OpenFile(const std::string& absolutePath, int flags, UniqueFd& file) const;

    // Opens a file so if it is one that is wanted, by what it is. Until then nothing happens to it: to a device, to who
    // waits at a pipe, to what is mounted when somebody comes. It is EINVAL when it is not wanted.
    int OpenWanted(const std::string& absolutePath, int flags, UniqueFd& file,
                   const std::function<bool(const struct stat&)>& isWanted) const;

    // Moves the process out of the sandbox: to the machine's mounts, its root, and the working directory that was
    // captured. False on failure, with errno set; the process may then be half moved and should end. Makes system calls
    // only, and no memory. REQUIRES: called in a forked child with one thread, by a host that is root.
    bool ReturnTo() const noexcept;

private:
    MachineView(UniqueFd root, UniqueFd mounts, UniqueFd workingDir)
        : root_(std::move(root)), mounts_(std::move(mounts)), workingDir_(std::move(workingDir)) {}

    UniqueFd root_;
    UniqueFd mounts_;
    UniqueFd workingDir_;
};

}  // namespace ZYRA::Host

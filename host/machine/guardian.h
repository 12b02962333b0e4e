// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "host/machine/guardian_message.h"
#include "host/machine/undo_list.h"
#include "host/runtime/unique_fd.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Changes of the machine that are undone whatever becomes of the host. A small process, which is forked from the host
// and outlives it, knows of each change before it is made. When the host destroys the Guardian, exits or is killed, the
// process undoes what is left: settings are written back, control groups are emptied and removed.
//
// Paths are absolute, and lead to the same in the sandbox as on the machine. The operations answer with nothing on
// success, and on failure with one line that says what failed and what to do. After the guardian's process has died
// nothing is changed any more, but changes can still be taken back, and what is left the host undoes itself when it
// destroys the Guardian. Thread-safe; used by the process that has started it alone: a child that is forked from that
// may at most destroy it, without effect.
class Guardian {
public:
    // Null on failure, with one line in `error`. REQUIRES: the process has one thread, and is not yet in its sandbox.
    static std::unique_ptr<Guardian> Start(std::string& error);
    // As Finish(), in silence.
    ~Guardian();
    Guardian(const Guardian&) = delete;
    Guardian& operator=(const Guardian&) = delete;

    // Writes `value` to an existing file in one write(2). What is taken back is what the file held before, or
    // `restoring` where that is not what has to be written; for a setting that is changed again, the first stays. Until
    // it is taken back nobody else can change the setting through a Guardian.
    std::string ChangeSetting(const std::string& path, const std::string& value,
                              const std::optional<std::string>& restoring = std::nullopt);
    // Takes the change back now. A setting that was not changed is left alone.
    std::string RestoreSetting(const std::string& path);

    // Makes a control group; that it exists already is a failure.
    std::string MakeGroup(const std::string& folder);
    // Removes a group made here now. Its members go to the nearest group above that takes them.
    std::string RemoveGroup(const std::string& folder);

    // Undoes everything and waits for the process to end. The line names what could not be undone.
    std::string Finish();

    // The process, for the journal.
    pid_t Pid() const { return pid_; }

private:
    Guardian(pid_t pid, UniqueFd socket);

    // Has the guardian do it and waits until it has. Returns 0 or an errno, EPIPE when its process has died.
    int Ask(GuardianRequest request, ChangeKind kind, const std::string& path, const std::string& original = "",
            int file = -1) REQUIRES(mutex_);
    // Opens the setting and has it noted, unless it is.
    std::string HoldSetting(const std::string& path, const std::optional<std::string>& restoring) REQUIRES(mutex_);

    const pid_t owner_;
    const pid_t pid_;

    Mutex mutex_;
    UniqueFd socket_ GUARDED_BY(mutex_);
    // The same as the process has.
    UndoList list_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host

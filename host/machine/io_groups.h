// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/machine/block_devices.h"
#include "host/machine/guardian.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Real control groups that limit how fast their processes read and write disks: io.max where cgroup v2 has the io
// controller, else blkio.throttle of cgroup v1. Writes that go through the page cache are held back only by io.max, and
// only where the groups can have the memory controller too, which knows whose pages are written. There is one group for
// each name that is used, below one of the host's own; all are made and removed through the guardian. A process that is
// left in a group at its removal goes to the nearest group above that takes it, not to where it came from. Thread-safe.
class IoGroups {
public:
    // Null where there are no such groups or no disks. `note` is one line: what is used, or what is lacking. The
    // guardian outlives the groups.
    static std::unique_ptr<IoGroups> Create(Guardian& guardian, std::vector<BlockDevice> disks, std::string& note,
                                            const std::string& cgroupRoot = "/sys/fs/cgroup");
    // Removes the groups.
    ~IoGroups();
    IoGroups(const IoGroups&) = delete;
    IoGroups& operator=(const IoGroups&) = delete;

    // Each returns 0 or an errno. Move and Limit make the group if need be: EINVAL for a name that is no name of a
    // folder, EIO for a group that could not be made, else that of the kernel's refusal.

    // Puts a process, with all its threads, into the group; its children follow if they are started afterwards. ESRCH
    // for one that is gone.
    int Move(int32_t pid, const std::string& group);
    // Takes a process out of its group, to the one above the host's own; it makes no group. ESRCH for one that is gone.
    int Release(int32_t pid);
    // Limits the members of the group together, on each disk by itself; nothing is no limit. EINVAL for a limit of 0. A
    // refusal for one disk leaves the others limited.
    int Limit(const std::string& group, std::optional<uint64_t> readBps, std::optional<uint64_t> writeBps);

private:
    enum class Interface { IO_MAX, THROTTLE };

    IoGroups(Guardian& guardian, std::vector<BlockDevice> disks, Interface interface, const std::string& root);

    static std::unique_ptr<IoGroups> CreateWith(Guardian& guardian, std::vector<BlockDevice> disks, Interface interface,
                                                const std::string& root, std::string& note);

    // Makes the group if need be.
    int Provide(const std::string& group) REQUIRES(mutex_);
    std::string Folder(const std::string& group) const { return parent_ + "/" + group; }

    Guardian& guardian_;
    const std::vector<BlockDevice> disks_;
    const Interface interface_;
    const std::string members_;  // Of the group above the host's own.
    const std::string parent_;
    // The file in which the controllers are handed down; the guardian knows whether that was changed.
    const std::string rootControllers_;

    Mutex mutex_;
    std::vector<std::string> groups_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host

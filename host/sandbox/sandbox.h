// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ZYRA::Host {

// The process's own view of the file system, in which the plugin's absolute paths are the virtual device's:
//
//   /                  a small tmpfs with the machine's top-level entries bound into it
//   /dev               a tmpfs with the usual nodes, a shm and terminals (pts) of its own, and the empty directories
//                      workingset and iolimit
//   /data              a tmpfs, or a real folder; service/el1/public/ressched/ exists in it
//   /proc/sys/kernel   the machine's files, and an empty file ws_fault_around
//
// It lives in a mount namespace that ends with its last process, so nothing has to be undone. What the machine has at
// /data and in /dev beyond the usual nodes cannot be reached from inside; open such files before.
//
// Every function answers with nothing on success, and on failure with one line that says what is missing and how to
// allow it.

// An empty directory in which the kernel's control files are mounted later.
inline constexpr char KERNEL_MOUNT_POINT[] = "/.iosched/kernel";

struct SandboxConfig {
    // The total of the file systems / and /data: a power of two GiB. Of no effect with a dataDir.
    uint64_t romBytes;
    // An existing folder to bind as /data, against the working directory when relative; it keeps what is written. Empty
    // for a /data of the process's own, which ends with the process.
    std::string dataDir;
};

// Moves the process in. Takes a mount namespace alone where the process may (root), a user namespace as well otherwise;
// the user and the group stay what they are. The working directory is kept if it exists inside, else it is "/".
//
// REQUIRES: called once, on the main thread, before any other thread is started: a user namespace is refused to a
// process with several threads, and a mount namespace is that of the calling thread and of those it starts afterwards.
// A process that was forked from one inside may enter again. After a failure the process may be half moved; it can
// still say why, and nothing else.
std::optional<std::string> EnterSandbox(const SandboxConfig& config);

// Replaces the sandbox's own /data by a new, empty one, such that the total is `romBytes`.
// REQUIRES: the process is inside, without a dataDir.
std::optional<std::string> ReplaceOwnData(uint64_t romBytes);

// Shows what is mounted at KERNEL_MOUNT_POINT where the plugin looks for it: workingset and iolimit in /dev, and
// ws_fault_around in /proc/sys/kernel. On failure none of them is shown.
// REQUIRES: the process is inside; the file system at KERNEL_MOUNT_POINT answers.
std::optional<std::string> ExposeKernelFiles();

// Takes back ExposeKernelFiles(), so that the file system behind it can be unmounted. Descriptors that are open stay
// open. Does nothing where nothing is shown.
void WithdrawKernelFiles();

}  // namespace ZYRA::Host

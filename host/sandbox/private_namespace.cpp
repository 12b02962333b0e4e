// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/private_namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "host/sandbox/mount_tree.h"

namespace ZYRA::Host {

namespace {

// The kernel's switches against namespaces, each with the value that forbids them.
struct Switch {
    const char* path;
    const char* forbidding;
    const char* remedy;
};
constexpr Switch SWITCHES[] = {
    {"/proc/sys/kernel/unprivileged_userns_clone", "0", "kernel.unprivileged_userns_clone=1"},
    {"/proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1", "kernel.apparmor_restrict_unprivileged_userns=0"},
    {"/proc/sys/user/max_user_namespaces", "0", "user.max_user_namespaces=10000"},
    {"/proc/sys/user/max_mnt_namespaces", "0", "user.max_mnt_namespaces=10000"},
};

// The kernel takes such a file in one write(2) or not at all.
void WriteProcFile(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    const bool isWritten = fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    if (fd >= 0) {
        close(fd);
    }
    if (!isWritten) {
        errno = error;
        ThrowErrno("write " + path);
    }
}

// The one line that an unprivileged process may write into its map: itself, under its own number.
std::string IdentityMap(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

}  // namespace

void EnterPrivateNamespace() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (errno != EPERM) {
            ThrowErrno("have a mount namespace");
        }
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            ThrowErrno("have a user namespace");
        }
        WriteProcFile("/proc/self/uid_map", IdentityMap(uid));
        WriteProcFile("/proc/self/setgroups", "deny");
        WriteProcFile("/proc/self/gid_map", IdentityMap(gid));
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        ThrowErrno("make the mounts private");
    }
}

std::string NamespaceAdvice(int error) {
    if (error == EINVAL) {
        return "; the kernel lacks them, or this process has several threads or a root that is not a mount: run as "
               "root, outside any chroot";
    }
    if (error != EPERM && error != EACCES && error != ENOSPC) {
        return "";
    }
    std::string settings;
    for (const Switch& one : SWITCHES) {
        std::string value;
        if (std::ifstream(one.path) >> value && value == one.forbidding) {
            settings += std::string(" ") + one.remedy;
        }
    }
    if (!settings.empty()) {
        return "; allow it with `sysctl" + settings + "`, or run as root";
    }
    return "; run as root (in a container with CAP_SYS_ADMIN), or allow user namespaces (kernel."
           "unprivileged_userns_clone, user.max_user_namespaces, the container's seccomp profile)";
}

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/machine/machine_view.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int ADDED_FLAGS = O_NOFOLLOW | O_CLOEXEC;
// Of no meaning, and refused, where a file is not opened for anything.
constexpr int ADDED_USE_FLAGS = O_NONBLOCK | O_NOCTTY;
// The kernel gives up on a path when something on the way is renamed or mounted meanwhile.
constexpr int MAX_TRIES = 16;

UniqueFd Open(const char* path, int flags, std::string& error) {
    UniqueFd file(RetryOnEintr([&] { return open(path, flags); }));
    if (!file.Valid()) {
        error = std::string("cannot open ") + path + ": " + std::generic_category().message(errno) +
                "; start from a folder that exists, with /proc mounted";
    }
    return file;
}

int OpenInRoot(int root, const std::string& path, int flags) {
    open_how how = {};
    how.flags = static_cast<uint64_t>(flags);
    how.resolve = RESOLVE_IN_ROOT;
    for (int tries = 1;; ++tries) {
        const long file = syscall(SYS_openat2, root, path.c_str(), &how, sizeof(how));
        if (file >= 0 || (errno != EINTR && errno != EAGAIN) || tries == MAX_TRIES) {
            return static_cast<int>(file);
        }
    }
}

int OpenRelative(int root, const std::string& path, int flags) {
    const size_t begin = path.find_first_not_of('/');
    const std::string relative = begin == std::string::npos ? "." : path.substr(begin);
    return RetryOnEintr([&] { return openat(root, relative.c_str(), flags); });
}

}  // namespace

std::optional<MachineView> MachineView::Capture(std::string& error) {
    UniqueFd root = Open("/", FOLDER_FLAGS, error);
    UniqueFd mounts = Open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC, error);
    UniqueFd workingDir = Open(".", FOLDER_FLAGS, error);
    if (!root.Valid() || !mounts.Valid() || !workingDir.Valid()) {
        return std::nullopt;
    }
    return MachineView(std::move(root), std::move(mounts), std::move(workingDir));
}

int MachineView::OpenFile(const std::string& absolutePath, int flags, UniqueFd& file) const {
    if (!absolutePath.starts_with('/') || absolutePath.find('\0') != std::string::npos) {
        return EINVAL;
    }
    file.Reset(
        OpenInRoot(root_.Get(), absolutePath, flags | ADDED_FLAGS | ((flags & O_PATH) != 0 ? 0 : ADDED_USE_FLAGS)));
    if (!file.Valid() && errno == ENOSYS) {
        file.Reset(OpenRelative(root_.Get(), absolutePath,
                                flags | ADDED_FLAGS | ((flags & O_PATH) != 0 ? 0 : ADDED_USE_FLAGS)));
    }
    return file.Valid() ? 0 : errno;
}

int MachineView::OpenWanted(const std::string& absolutePath, int flags, UniqueFd& file,
                            const std::function<bool(const struct stat&)>& isWanted) const {
    UniqueFd place;
    if (const int error = OpenFile(absolutePath, O_PATH, place); error != 0) {
        return error;
    }
    struct stat status = {};
    if (fstat(place.Get(), &status) != 0) {
        return errno;
    }
    if (!isWanted(status)) {
        return EINVAL;
    }
    const std::string name = "/proc/self/fd/" + std::to_string(place.Get());
    file.Reset(RetryOnEintr([&] { return open(name.c_str(), flags | O_CLOEXEC | ADDED_USE_FLAGS); }));
    return file.Valid() ? 0 : errno;
}

bool MachineView::ReturnTo() const noexcept {
    // A mount namespace is entered at its own root, which is not the root that was captured in a chroot.
    return setns(mounts_.Get(), CLONE_NEWNS) == 0 && fchdir(root_.Get()) == 0 && chroot(".") == 0 &&
           fchdir(workingDir_.Get()) == 0;
}

}  // namespace ZYRA::Host

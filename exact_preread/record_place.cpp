// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/record_place.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "exact_preread/retry_on_eintr.h"
#include "exact_preread/unique_fd.h"
#include "exact_preread/workingset_paths.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr std::string_view ROOT = RECORD_DIRECTORY;

bool IsName(std::string_view step) {
    return !step.empty() && step != "." && step != "..";
}

// Cuts the first step off the folders, each of which ends in a slash.
std::string_view TakeStep(std::string_view& folders) {
    const size_t slash = folders.find('/');
    const std::string_view step = folders.substr(0, slash);
    folders.remove_prefix(slash + 1);
    return step;
}

int OpenFolder(int above, const char* name, int flags) {
    return RetryOnEintr([&] { return openat(above, name, flags | O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

// Opens the path unless a link is in it, also on the way to the record directory. Older kernels do not know this call,
// and some containers do not let it through.
int OpenWithoutLinks(const std::string& path, int flags, mode_t mode) {
    open_how how{};
    how.flags = static_cast<uint64_t>(flags);
    how.mode = mode;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return RetryOnEintr(
        [&] { return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))); });
}

}  // namespace

RecordPlace::RecordPlace(const std::string& path) : path_(path) {
    const std::string_view whole = path_;
    if (!whole.starts_with(ROOT) || whole == ROOT) {
        return;
    }
    // A slash at the very end belongs to the name before it.
    const size_t slash = whole.rfind('/', whole.size() - 2);
    name_ = whole.substr(slash + 1);
    folders_ = whole.substr(ROOT.size(), slash + 1 - ROOT.size());
    isRefused_ = !IsName(name_.substr(0, name_.find('/')));
    for (std::string_view rest = folders_; !rest.empty();) {
        isRefused_ |= !IsName(TakeStep(rest));
    }
    // A zero byte would end a name for the kernel where it goes on for the checks above.
    isRefused_ |= whole.find('\0') != std::string_view::npos;
}

template <typename Call>
int RecordPlace::Do(Call call) const {
    if (isRefused_) {
        errno = EPERM;
        return -1;
    }
    if (folders_.empty()) {
        return RetryOnEintr([&] { return call(AT_FDCWD, path_.c_str()); });
    }
    UniqueFd folder(OpenFolder(AT_FDCWD, RECORD_DIRECTORY, 0));
    for (std::string_view rest = folders_; folder.IsValid() && !rest.empty();) {
        folder.Reset(OpenFolder(folder.Get(), std::string(TakeStep(rest)).c_str(), O_NOFOLLOW));
    }
    if (!folder.IsValid()) {
        return -1;
    }
    // The name is the end of the path, and so of its text.
    return RetryOnEintr([&] { return call(folder.Get(), name_.data()); });
}

int RecordPlace::MakeDirectory(mode_t mode) const {
    return Do([mode](int folder, const char* name) { return mkdirat(folder, name, mode); });
}

int RecordPlace::RemoveDirectory() const {
    return Do([](int folder, const char* name) { return unlinkat(folder, name, AT_REMOVEDIR); });
}

int RecordPlace::RemoveFile() const {
    return Do([](int folder, const char* name) { return unlinkat(folder, name, 0); });
}

int RecordPlace::Open(int flags, mode_t mode) const {
    const int linkless = flags | O_NOFOLLOW | O_CLOEXEC;
    if (!folders_.empty() && !isRefused_) {
        if (const int fd = OpenWithoutLinks(path_, linkless, mode); fd >= 0) {
            return fd;
        }
        // Step by step it may be possible all the same, and if not, that way tells why.
    }
    return Do([linkless, mode](int folder, const char* name) { return openat(folder, name, linkless, mode); });
}

}  // namespace ZYRA::ResourceSchedule

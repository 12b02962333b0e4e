#include "exact_preread/record_place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "exact_preread/retry_on_eintr.h"
#include "exact_preread/workingset_paths.h"

namespace ZYRA::ResourceSchedule {

namespace {

bool IsName(std::string_view step) {
    return !step.empty() && step != "." && step != "..";
}

}  // namespace

RecordPlace::RecordPlace(const std::string& path) {
    constexpr std::string_view ROOT = RECORD_DIRECTORY;
    std::string_view rest = path;
    if (!rest.starts_with(ROOT) || rest == ROOT) {
        name_ = path;
        return;
    }
    rest.remove_prefix(ROOT.size());
    Enter(RECORD_DIRECTORY, 0);
    // A slash at the very end belongs to the name before it.
    for (size_t slash = rest.find('/'); error_ == 0 && slash < rest.size() - 1; slash = rest.find('/')) {
        Enter(std::string(rest.substr(0, slash)), O_NOFOLLOW);
        rest.remove_prefix(slash + 1);
    }
    if (error_ == 0 && !IsName(rest.substr(0, rest.find('/')))) {
        error_ = EPERM;
    }
    // A zero byte would end a name for the kernel where it goes on for the checks above.
    if (path.find('\0') != std::string::npos) {
        error_ = EPERM;
    }
    name_ = rest;
}

void RecordPlace::Enter(const std::string& step, int flags) {
    if (folder_.IsValid() && !IsName(step)) {
        error_ = EPERM;
        return;
    }
    const int above = folder_.IsValid() ? folder_.Get() : AT_FDCWD;
    const int entered =
        RetryOnEintr([&] { return openat(above, step.c_str(), flags | O_PATH | O_DIRECTORY | O_CLOEXEC); });
    error_ = entered < 0 ? errno : 0;
    folder_.Reset(entered);
}

template <typename Call>
int RecordPlace::Do(Call call) const {
    if (error_ != 0) {
        errno = error_;
        return -1;
    }
    const int folder = folder_.IsValid() ? folder_.Get() : AT_FDCWD;
    return RetryOnEintr([&] { return call(folder, name_.c_str()); });
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
    return Do([flags, mode](int folder, const char* name) {
        return openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC, mode);
    });
}

}  // namespace ZYRA::ResourceSchedule

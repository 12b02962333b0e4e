// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/confined_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "host/runtime/retry_on_eintr.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// What is no regular file is not waited for.
constexpr int FILE_FLAGS = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
// A folder that can be locked.
constexpr int ROOT_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int NEW_FILE_FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t NEW_FILE_MODE = 0600;

int ReadAll(int file, std::string& content, size_t limit) {
    constexpr size_t CHUNK = 4096;
    char chunk[CHUNK];
    for (;;) {
        const ssize_t size = RetryOnEintr([&] { return read(file, chunk, sizeof(chunk)); });
        if (size <= 0) {
            return size == 0 ? 0 : errno;
        }
        if (static_cast<size_t>(size) > limit - content.size()) {
            return EFBIG;
        }
        content.append(chunk, static_cast<size_t>(size));
    }
}

// In as many writes as it takes: only the last of them tells why not all of it has room.
int WriteAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t size = RetryOnEintr([&] { return write(file, content.data(), content.size()); });
        if (size < 0) {
            return errno;
        }
        content.remove_prefix(static_cast<size_t>(size));
    }
    return 0;
}

// Gives the file the other one's place, if there is still one. Exchanging leaves the old one under the file's name; a
// file system that cannot do that overwrites it.
int TakePlace(int folder, const char* name, int otherFolder, const std::string& otherName) {
    if (renameat2(folder, name, otherFolder, otherName.c_str(), RENAME_EXCHANGE) == 0) {
        return 0;
    }
    if (errno != EINVAL) {
        return errno;
    }
    return renameat(folder, name, otherFolder, otherName.c_str()) == 0 ? 0 : errno;
}

}  // namespace

int ConfinedFolder::OpenParent(const std::string& path, UniqueFd& folder, std::string& name) const {
    if (!path.starts_with(root_) || path.find('\0') != std::string::npos) {
        return EPERM;
    }
    // With a slash at its end the name of a link would stand for the folder that the link leads to.
    folder.Reset(RetryOnEintr([&] { return open(RootWithoutSlash().c_str(), FOLDER_FLAGS); }));
    std::string_view rest = std::string_view(path).substr(root_.size());
    if (!folder.Valid()) {
        return errno;
    }
    for (;;) {
        const size_t slash = rest.find('/');
        name = rest.substr(0, slash);
        if (name.empty() || name == "." || name == "..") {
            return EPERM;
        }
        if (slash == std::string_view::npos) {
            return 0;
        }
        rest.remove_prefix(slash + 1);
        UniqueFd next(RetryOnEintr([&] { return openat(folder.Get(), name.c_str(), FOLDER_FLAGS); }));
        if (!next.Valid()) {
            return errno;
        }
        folder = std::move(next);
    }
}

int ConfinedFolder::Open(const std::string& path, int flags, UniqueFd& file) const {
    UniqueFd folder;
    std::string name;
    if (const int error = OpenParent(path, folder, name); error != 0) {
        return error;
    }
    file.Reset(RetryOnEintr([&] { return openat(folder.Get(), name.c_str(), flags | FILE_FLAGS); }));
    if (!file.Valid()) {
        return errno;
    }
    // Nothing but its kind: a file system that is asked for more may have to ask its server.
    struct statx status = {};
    if (statx(file.Get(), "", AT_EMPTY_PATH, STATX_TYPE, &status) != 0) {
        return errno;
    }
    return S_ISREG(status.stx_mode) ? 0 : EINVAL;
}

int ConfinedFolder::Write(const std::string& path, const std::string& content) const {
    UniqueFd file;
    if (const int error = Open(path, O_WRONLY, file); error != 0) {
        return error;
    }
    return SaveStringToFd(file.Get(), content) ? 0 : errno;
}

int ConfinedFolder::ReadLines(const std::string& path, std::vector<std::string>& lines) const {
    UniqueFd file;
    std::string content;
    int error = Open(path, O_RDONLY, file);
    error = error == 0 ? ReadAll(file.Get(), content, SIZE_MAX) : error;
    if (error != 0) {
        return error;
    }
    lines.clear();
    for (size_t begin = 0; begin < content.size();) {
        const size_t end = std::min(content.find('\n', begin), content.size());
        lines.push_back(content.substr(begin, end - begin));
        begin = end + 1;
    }
    return 0;
}

int ConfinedFolder::Read(const std::string& path, std::string& content, size_t limit) const {
    UniqueFd file;
    std::string all;
    int error = Open(path, O_RDONLY, file);
    error = error == 0 ? ReadAll(file.Get(), all, limit) : error;
    if (error == 0) {
        content = std::move(all);
    }
    return error;
}

int ConfinedFolder::Replace(const std::string& path, const std::string& content) const {
    // What could not be written is not replaced either.
    UniqueFd file;
    UniqueFd parent;
    std::string name;
    int error = Open(path, O_WRONLY, file);
    error = error == 0 ? OpenParent(path, parent, name) : error;
    if (error != 0) {
        return error;
    }
    const UniqueFd root(RetryOnEintr([&] { return open(RootWithoutSlash().c_str(), ROOT_FLAGS); }));
    if (!root.Valid() || RetryOnEintr([&] { return flock(root.Get(), LOCK_EX); }) != 0) {
        return errno;
    }
    if (unlinkat(root.Get(), REPLACING_NAME, 0) != 0 && errno != ENOENT) {
        return errno;
    }
    file.Reset(RetryOnEintr([&] { return openat(root.Get(), REPLACING_NAME, NEW_FILE_FLAGS, NEW_FILE_MODE); }));
    if (!file.Valid()) {
        return errno;
    }
    error = WriteAll(file.Get(), content);
    if (error == 0 && RetryOnEintr([&] { return fsync(file.Get()); }) != 0) {
        error = errno;
    }
    error = error == 0 ? TakePlace(root.Get(), REPLACING_NAME, parent.Get(), name) : error;
    // The new file after a failure, the old one after an exchange.
    unlinkat(root.Get(), REPLACING_NAME, 0);
    return error;
}

}  // namespace ZYRA::Host

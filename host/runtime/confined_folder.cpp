#include "host/runtime/confined_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "host/runtime/retry_on_eintr.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// What is no regular file is not waited for.
constexpr int FILE_FLAGS = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

int ReadAll(int file, std::string& content) {
    constexpr size_t CHUNK = 4096;
    char chunk[CHUNK];
    for (;;) {
        const ssize_t size = RetryOnEintr([&] { return read(file, chunk, sizeof(chunk)); });
        if (size <= 0) {
            return size == 0 ? 0 : errno;
        }
        content.append(chunk, static_cast<size_t>(size));
    }
}

}  // namespace

int ConfinedFolder::Open(const std::string& path, int flags, UniqueFd& file) const {
    if (!path.starts_with(root_) || path.find('\0') != std::string::npos) {
        return EPERM;
    }
    // With a slash at its end the name of a link would stand for the folder that the link leads to.
    const std::string folder = root_.substr(0, root_.size() - 1);
    int next = RetryOnEintr([&] { return open(folder.c_str(), FOLDER_FLAGS); });
    std::string_view rest = std::string_view(path).substr(root_.size());
    for (bool isLast = false; !isLast;) {
        if (next < 0) {
            return errno;
        }
        file.Reset(next);
        const size_t slash = rest.find('/');
        isLast = slash == std::string_view::npos;
        const std::string name(rest.substr(0, slash));
        rest.remove_prefix(isLast ? rest.size() : slash + 1);
        if (name.empty() || name == "." || name == "..") {
            return EPERM;
        }
        const int step = isLast ? flags | FILE_FLAGS : FOLDER_FLAGS;
        next = RetryOnEintr([&] { return openat(file.Get(), name.c_str(), step); });
    }
    if (next < 0) {
        return errno;
    }
    file.Reset(next);
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0) {
        return errno;
    }
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
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
    error = error == 0 ? ReadAll(file.Get(), content) : error;
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

}  // namespace ZYRA::Host

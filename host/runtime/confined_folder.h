#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Existing files below one folder, each reached step by step from there and without following a symbolic link, the
// folder itself included, so that no path leads out of it (what is mounted below it is inside). Each operation returns
// 0 or an errno: EPERM for a path that is not below the folder, or where a step is empty, "." or "..", or holds a zero
// byte; ELOOP or ENOTDIR where a step is a link; EINVAL, EISDIR or ENXIO for what is no regular file. Thread-safe.
class ConfinedFolder {
public:
    // REQUIRES: an absolute path with a slash at its end.
    explicit ConfinedFolder(std::string root) : root_(std::move(root)) {}

    // Opens a file; `flags` are those of open(2), O_NOFOLLOW, O_NONBLOCK, O_NOCTTY and O_CLOEXEC are added. On failure
    // `file` is of no use. REQUIRES: no O_CREAT.
    int Open(const std::string& path, int flags, UniqueFd& file) const;

    // Writes the content in one write(2), from the file's start. The file is neither created nor cut.
    int Write(const std::string& path, const std::string& content) const;

    // Replaces `lines` with the file's, without their line ends; leaves it alone on failure.
    int ReadLines(const std::string& path, std::vector<std::string>& lines) const;

private:
    const std::string root_;
};

}  // namespace ZYRA::Host

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Existing files below one folder, each reached step by step from there and without following a link, so that no path
// leads out of it. Each operation returns 0 or an errno: EPERM for a path that is not below the folder or holds an
// empty, "." or ".." component or a zero byte, ELOOP or ENOTDIR for one with a link, EINVAL for what is no regular
// file. Thread-safe.
class ConfinedFolder {
public:
    // REQUIRES: an absolute path with a slash at its end.
    explicit ConfinedFolder(std::string root) : root_(std::move(root)) {}

    // Writes the content in one write(2), from the file's start. The file is neither created nor cut.
    int Write(const std::string& path, const std::string& content) const;

    // Replaces `lines` with the file's, without their line ends; leaves it alone on failure.
    int ReadLines(const std::string& path, std::vector<std::string>& lines) const;

private:
    int Open(const std::string& path, int flags, UniqueFd& file) const;

    const std::string root_;
};

}  // namespace ZYRA::Host

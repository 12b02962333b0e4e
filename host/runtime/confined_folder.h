// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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

    // Replaces `content` with the file's; leaves it alone on failure, which is EFBIG beyond `limit` bytes.
    int Read(const std::string& path, std::string& content, size_t limit) const;

    // Puts a new file, of mode 0600 and the caller's, in the place of the one that is there. Whatever fails or dies in
    // between, a power cut included, leaves the file with its old content or with the new; after 0 too a power cut may
    // bring the old one back. Who has the old file open goes on with that. A file that is taken away meanwhile does not
    // come back (ENOENT), unless the file system cannot exchange two names. One replacement goes on below a folder at a
    // time; the others, those of other processes too, wait for it. EXDEV where another file system is mounted between
    // the folder and the file.
    int Replace(const std::string& path, const std::string& content) const;

    // The name in the folder of a file that is not yet in its place, which one that died leaves behind and the next
    // replacement removes.
    static constexpr char REPLACING_NAME[] = ".replacing";

private:
    // Opens the folder that holds the file, without looking at the file, and sets `name` to the file's.
    int OpenParent(const std::string& path, UniqueFd& folder, std::string& name) const;
    std::string RootWithoutSlash() const { return root_.substr(0, root_.size() - 1); }

    const std::string root_;
};

}  // namespace ZYRA::Host

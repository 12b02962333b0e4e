// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/mount_tree.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace ZYRA::Host {

namespace {

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr mode_t FILE_MODE = 0644;

bool TryBind(const std::string& source, const std::string& target) {
    // Not recursive it would be refused in a user namespace: it would uncover what the machine has mounted over.
    return mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

}  // namespace

void ThrowErrno(const std::string& step) {
    throw std::system_error(errno, std::generic_category(), "cannot " + step);
}

void MakeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), DIRECTORY_MODE) != 0) {
        ThrowErrno("make the directory " + path);
    }
}

void MakeEmptyFile(const std::string& path) {
    if (mknod(path.c_str(), S_IFREG | FILE_MODE, 0) != 0) {
        ThrowErrno("make the file " + path);
    }
}

void MakeSymlink(const std::string& content, const std::string& path) {
    if (symlink(content.c_str(), path.c_str()) != 0) {
        ThrowErrno("make the link " + path);
    }
}

void MountTmpfs(const std::string& target, unsigned long flags, const std::string& options) {
    if (mount("iosched", target.c_str(), "tmpfs", flags | MS_NOSUID, options.c_str()) != 0) {
        ThrowErrno("mount a tmpfs on " + target);
    }
}

void BindTree(const std::string& source, const std::string& target) {
    if (!TryBind(source, target)) {
        ThrowErrno("bind " + source + " on " + target);
    }
}

void MirrorEntry(const std::string& source, const std::string& target) {
    struct stat entry {};
    if (lstat(source.c_str(), &entry) != 0) {
        return;
    }
    if (S_ISLNK(entry.st_mode)) {
        std::error_code error;
        const std::string content = std::filesystem::read_symlink(source, error);
        if (!error) {
            MakeSymlink(content, target);
        }
        return;
    }
    if (S_ISDIR(entry.st_mode)) {
        MakeDirectory(target);
    } else {
        MakeEmptyFile(target);
    }
    if (!TryBind(source, target)) {
        std::error_code ignored;
        std::filesystem::remove(target, ignored);
    }
}

}  // namespace ZYRA::Host

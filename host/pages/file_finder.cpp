// SPDX-License-Identifier: Apache-2.0
#include "host/pages/file_finder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

namespace ZYRA::Host {

namespace {

// The kind of file handle that many file systems take: the inode's number and its generation, where 0 is any.
constexpr int INODE_AND_GENERATION = 1;

struct InodeHandle {
    file_handle header;
    std::array<uint32_t, 2> body;
};

std::string NameOfDescriptor(int file) {
    std::array<char, PATH_MAX> name;
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t size = readlink(link.c_str(), name.data(), name.size());
    return size > 0 && static_cast<size_t>(size) < name.size() ? std::string(name.data(), static_cast<size_t>(size))
                                                               : "";
}

}  // namespace

FileFinder::FileFinder() : root_(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    std::set<uint64_t> whole;
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string id, parent, number, root, folder;
        unsigned major = 0, minor = 0;
        fields >> id >> parent >> number >> root >> folder;
        const bool isNumber = std::sscanf(number.c_str(), "%u:%u", &major, &minor) == 2;
        const uint64_t device = makedev(major, minor);
        if (!isNumber || whole.contains(device)) {
            continue;
        }
        UniqueFd mount(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (mount.Valid() && root == "/") {
            whole.insert(device);
            mounts_[device].clear();
        }
        if (mount.Valid()) {
            mounts_[device].push_back(std::move(mount));
        }
    }
}

std::string FileFinder::NameOf(int file) const {
    std::string name = NameOfDescriptor(file);
    const std::string root = NameOfDescriptor(root_.Get());
    if (root == "/") {
        // What is not in the mounted part has this name as well.
        return name == "/" ? "" : name;
    }
    return name.starts_with(root + "/") ? name.substr(root.size()) : "";
}

std::string FileFinder::AskFileSystem(uint64_t device, uint64_t inode) const {
    const auto mounts = mounts_.find(device);
    if (mounts == mounts_.end() || inode > UINT32_MAX) {
        return "";
    }
    InodeHandle handle{};
    handle.header.handle_bytes = sizeof(handle.body);
    handle.header.handle_type = INODE_AND_GENERATION;
    handle.body = {static_cast<uint32_t>(inode), 0};
    for (const UniqueFd& mount : mounts->second) {
        const UniqueFd file(open_by_handle_at(mount.Get(), &handle.header, O_PATH | O_CLOEXEC));
        struct stat status {};
        if (!file.Valid() || fstat(file.Get(), &status) != 0 || status.st_ino != inode || status.st_nlink == 0) {
            return "";
        }
        if (std::string name = NameOf(file.Get()); !name.empty()) {
            return name;
        }
    }
    return "";
}

std::string FileFinder::PathOf(uint64_t device, uint64_t inode, const std::vector<MappedFile>& mapped) const {
    std::string path = AskFileSystem(device, inode);
    for (auto file = mapped.begin(); path.empty() && file != mapped.end(); ++file) {
        if (file->device == device && file->inode == inode) {
            path = file->path;
        }
    }
    return path.starts_with('/') && !path.ends_with(" (deleted)") ? path : "";
}

}  // namespace ZYRA::Host

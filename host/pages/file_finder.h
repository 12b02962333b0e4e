// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/pages/page_events.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Finds the paths of files of which only device and inode are known. Thread-safe after its making.
class FileFinder {
public:
    // Remembers what is mounted. REQUIRES: made before the process enters the sandbox; to ask the file systems
    // themselves, it takes root.
    FileFinder();

    // The machine's absolute path of the file: asked of its file system where that can tell, else that under which a
    // process has mapped it. Empty where neither knows, and for a file that has no name any more.
    std::string PathOf(uint64_t device, uint64_t inode, const std::vector<MappedFile>& mapped) const;

private:
    std::string AskFileSystem(uint64_t device, uint64_t inode) const;
    // From the root, which in a chroot is not that of the mounts. Empty for what is not below it, and for itself.
    std::string NameOf(int file) const;

    const UniqueFd root_;
    // Of each file system where it is mounted: as a whole, or else every part that is.
    std::map<uint64_t, std::vector<UniqueFd>> mounts_;
};

}  // namespace ZYRA::Host

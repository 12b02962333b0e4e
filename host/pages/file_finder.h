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
    // process has mapped it. Empty where neither knows, and for a file that has no name any more. Where only parts of
    // the file system are mounted, another file may stand there.
    std::string PathOf(uint64_t device, uint64_t inode, const std::vector<MappedFile>& mapped) const;

private:
    struct Mount {
        UniqueFd folder;
        // Of only a part of the file system: of a file elsewhere in it, the path is that from the file system's root.
        bool isWhole = false;
    };

    std::string Ask(const Mount& mount, uint64_t inode) const;

    std::map<uint64_t, Mount> mounts_;
};

}  // namespace ZYRA::Host

#pragma once

#include <sys/types.h>

#include <string>

#include "exact_preread/unique_fd.h"

namespace ZYRA::ResourceSchedule {

// Where a record file or its folder is changed: the folder that holds it, held open, and its name there. Whatever the
// names of scenes are, and whatever links were laid in the record directory, what is done here is done below that
// directory: the way from it takes no link, no "." and no "..". Any other path is taken as it stands.
//
// Each operation is a system call, made again when a signal interrupts it: -1 is failure, with errno set. Where the way
// could not be taken all fail: with ENOENT when a folder is missing, ENOTDIR when it is a link or no folder, EPERM when
// a step is no name. One thread.
class RecordPlace {
public:
    explicit RecordPlace(const std::string& path);

    int MakeDirectory(mode_t mode) const;
    int RemoveDirectory() const;
    int RemoveFile() const;
    // Opens what is there, or what O_CREAT makes, unless it is a link. The descriptor is the caller's and
    // close-on-exec.
    int Open(int flags, mode_t mode = 0) const;

private:
    void Enter(const std::string& step, int flags);
    template <typename Call>
    int Do(Call call) const;

    UniqueFd folder_{-1};
    int error_ = 0;  // Why the way could not be taken.
    std::string name_;
};

}  // namespace ZYRA::ResourceSchedule

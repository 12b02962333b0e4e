// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace ZYRA::ResourceSchedule {

// Where a record file or its folder is changed: its path, and how the kernel is led along it. Whatever the names of
// scenes are, and whatever links were laid in the record directory, what is done here is done below that directory: the
// way from it takes no link, no "." and no "..". Any other path is taken as it stands, and so is the way to the
// directory, which may lead over links.
//
// Each operation is a system call, made again when a signal interrupts it: -1 is failure, with errno set. Where the way
// cannot be taken all fail: with ENOENT when a folder is missing, ENOTDIR when it is a link or no folder, EPERM when a
// step is no name. One thread.
class RecordPlace {
public:
    explicit RecordPlace(const std::string& path);
    RecordPlace(const RecordPlace&) = delete;
    RecordPlace& operator=(const RecordPlace&) = delete;

    int MakeDirectory(mode_t mode) const;
    int RemoveDirectory() const;
    int RemoveFile() const;
    // Opens what is there, or what O_CREAT makes, unless it is a link. The descriptor is the caller's and
    // close-on-exec.
    int Open(int flags, mode_t mode = 0) const;

private:
    // Makes the call on the folder that holds the name, and on the name. Where a link can only be at the end of the
    // path, that is the whole path; otherwise the folder is entered step by step and held open meanwhile.
    template <typename Call>
    int Do(Call call) const;

    const std::string path_;
    // Of the path, behind the record directory: the folders on the way, and the name in the last one. Empty when the
    // kernel may take the path as it stands.
    std::string_view folders_;
    std::string_view name_;
    bool isRefused_ = false;  // A step is no name.
};

}  // namespace ZYRA::ResourceSchedule

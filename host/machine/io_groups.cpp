// SPDX-License-Identifier: Apache-2.0
#include "host/machine/io_groups.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

namespace fs = std::filesystem;

const std::string MEMBERS = "/cgroup.procs";
const std::string CONTROLLERS = "/cgroup.controllers";
const std::string HANDED_DOWN = "/cgroup.subtree_control";
const std::string READ_THROTTLE = "/blkio.throttle.read_bps_device";
const std::string WRITE_THROTTLE = "/blkio.throttle.write_bps_device";
const std::string IO = "io";
const std::string MEMORY = "memory";

bool Holds(const std::string& file, const std::string& controller) {
    std::string content;
    LoadStringFromFile(file, content);
    std::istringstream words(content);
    for (std::string word; words >> word;) {
        if (word == controller) {
            return true;
        }
    }
    return false;
}

// Has the groups below the root have the controllers. The file shows what is handed down, and is told what to change of
// that. A controller that is refused refuses the line, and only io must not be.
std::string HandDown(Guardian& guardian, const std::string& root) {
    const std::string file = root + HANDED_DOWN;
    const bool needsIo = !Holds(file, IO);
    const bool needsMemory = Holds(root + CONTROLLERS, MEMORY) && !Holds(file, MEMORY);
    const std::string restoring = !needsMemory ? "-io" : needsIo ? "-io -memory" : "-memory";
    std::string refusal = needsIo ? guardian.ChangeSetting(file, "+io", restoring) : "";
    if (needsMemory && refusal.empty()) {
        guardian.ChangeSetting(file, "+memory", restoring);
    }
    return refusal;
}

// Empty where there is none. The folder's name is the administrator's choice.
std::string FindThrottleRoot(const std::string& cgroupRoot) {
    std::error_code error;
    for (fs::directory_iterator entry(cgroupRoot, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code ignored;
        if (fs::exists(entry->path().string() + READ_THROTTLE, ignored)) {
            return entry->path();
        }
    }
    return "";
}

bool IsFolderName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

int Write(const std::string& file, const std::string& content) {
    return SaveStringToFile(file, content) ? 0 : errno;
}

// Written, 0 would stand for the host itself.
int Put(int32_t pid, const std::string& members) {
    return pid > 0 ? Write(members, std::to_string(pid)) : ESRCH;
}

std::string Number(const BlockDevice& disk) {
    return std::to_string(disk.major) + ":" + std::to_string(disk.minor);
}

std::string Bps(std::optional<uint64_t> bps, const char* unlimited) {
    return bps ? std::to_string(*bps) : unlimited;
}

}  // namespace

IoGroups::IoGroups(Guardian& guardian, std::vector<BlockDevice> disks, Interface interface, const std::string& root)
    : guardian_(guardian),
      disks_(std::move(disks)),
      interface_(interface),
      members_(root + MEMBERS),
      parent_(root + "/iosched-" + std::to_string(getpid())),
      rootControllers_(root + HANDED_DOWN) {}

IoGroups::~IoGroups() {
    MutexLock lock(mutex_);
    for (const std::string& group : groups_) {
        guardian_.RemoveGroup(Folder(group));
    }
    guardian_.RemoveGroup(parent_);
    guardian_.RestoreSetting(rootControllers_);
}

std::unique_ptr<IoGroups> IoGroups::Create(Guardian& guardian, std::vector<BlockDevice> disks, std::string& note,
                                           const std::string& cgroupRoot) {
    if (disks.empty()) {
        note = "there is no disk whose IO could be limited";
        return nullptr;
    }
    for (const std::string& root : {cgroupRoot, cgroupRoot + "/unified"}) {
        if (Holds(root + CONTROLLERS, IO)) {
            return CreateWith(guardian, std::move(disks), Interface::IO_MAX, root, note);
        }
    }
    if (const std::string root = FindThrottleRoot(cgroupRoot); !root.empty()) {
        return CreateWith(guardian, std::move(disks), Interface::THROTTLE, root, note);
    }
    note = "there are no control groups that limit IO: " + cgroupRoot +
           " has neither the io controller of cgroup v2 nor the blkio hierarchy of cgroup v1; mount one of them";
    return nullptr;
}

std::unique_ptr<IoGroups> IoGroups::CreateWith(Guardian& guardian, std::vector<BlockDevice> disks, Interface interface,
                                               const std::string& root, std::string& note) {
    std::unique_ptr<IoGroups> groups(new IoGroups(guardian, std::move(disks), interface, root));
    std::string refusal = interface == Interface::IO_MAX ? HandDown(guardian, root) : "";
    refusal = refusal.empty() ? guardian.MakeGroup(groups->parent_) : refusal;
    if (!refusal.empty()) {
        note = refusal;
        return nullptr;
    }
    note = (interface == Interface::IO_MAX ? "io.max of cgroup v2 in " : "blkio.throttle of cgroup v1 in ") +
           groups->parent_;
    return groups;
}

int IoGroups::Provide(const std::string& group) {
    if (std::find(groups_.begin(), groups_.end(), group) != groups_.end()) {
        return 0;
    }
    if (!IsFolderName(group)) {
        return EINVAL;
    }
    if (interface_ == Interface::IO_MAX) {
        // From now on the group above has no members of its own; it never had any.
        if (const int error = Write(parent_ + HANDED_DOWN, "+io"); error != 0) {
            return error;
        }
        if (Holds(parent_ + CONTROLLERS, MEMORY)) {
            Write(parent_ + HANDED_DOWN, "+memory");
        }
    }
    if (!guardian_.MakeGroup(Folder(group)).empty()) {
        return EIO;
    }
    groups_.push_back(group);
    return 0;
}

int IoGroups::Move(int32_t pid, const std::string& group) {
    MutexLock lock(mutex_);
    const int error = Provide(group);
    if (error != 0) {
        return error;
    }
    return Put(pid, Folder(group) + MEMBERS);
}

int IoGroups::Release(int32_t pid) {
    return Put(pid, members_);
}

int IoGroups::Limit(const std::string& group, std::optional<uint64_t> readBps, std::optional<uint64_t> writeBps) {
    if (readBps == 0U || writeBps == 0U) {
        return EINVAL;
    }
    MutexLock lock(mutex_);
    int error = Provide(group);
    if (error != 0) {
        return error;
    }
    const auto note = [&error](int result) { error = error == 0 ? result : error; };
    for (const BlockDevice& disk : disks_) {
        const std::string folder = Folder(group);
        switch (interface_) {
            case Interface::IO_MAX:
                note(Write(folder + "/io.max",
                           Number(disk) + " rbps=" + Bps(readBps, "max") + " wbps=" + Bps(writeBps, "max")));
                break;
            case Interface::THROTTLE:
                note(Write(folder + READ_THROTTLE, Number(disk) + " " + Bps(readBps, "0")));
                note(Write(folder + WRITE_THROTTLE, Number(disk) + " " + Bps(writeBps, "0")));
                break;
        }
    }
    return error;
}

}  // namespace ZYRA::Host

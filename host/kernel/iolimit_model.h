// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel/control_files.h"
#include "host/kernel/io_limiter.h"
#include "host/kernel/process_groups.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// The IO-limit facility: the groups iocontrol/, heavyio/ and ionormal/, each with
//   cgroup.procs          takes a pid, whose process leaves its group for this one. Shows one pid a line.
//   iolimit.offon         takes "0" or "1": whether the limits of the group hold. Shows it with a line end.
//   iolimit.read_limit,   take a number of bytes a second above 0, or "max" for no limit, which stands there at first.
//   iolimit.write_limit   Show it with a line end.
// A write that is none of these is refused with EINVAL and changes nothing; so is one that a limiter refuses, with its
// errno. A process that was never put anywhere is in no group, one that ends leaves its group. Thread-safe.
class IolimitModel final : public ControlFiles {
public:
    // `limiter`, if there is one, must outlive the model. Without one nothing is slowed down.
    explicit IolimitModel(IoLimiter* limiter = nullptr) : limiter_(limiter) {}

    std::string DeviceRoot() const override;
    std::vector<ControlFile> List() const override;
    int Read(std::string_view name, std::string& content) override;
    int Write(std::string_view name, const std::string& content) override;
    bool NeedsDescriptors(std::string_view /*name*/, const std::string* /*command*/) const override {
        return limiter_ != nullptr;
    }

    // The process has ended, or is none of the device's any more.
    void RemoveProcess(int32_t pid);

private:
    static constexpr std::array<std::string_view, 3> GROUPS = {"iocontrol", "heavyio", "ionormal"};

    enum class File : uint8_t { PROCS, SWITCH, READ_LIMIT, WRITE_LIMIT };
    static constexpr std::array<std::string_view, 4> FILES = {"cgroup.procs", "iolimit.offon", "iolimit.read_limit",
                                                              "iolimit.write_limit"};

    struct Group {
        std::string switchState = "0";
        std::string readLimit = "max";
        std::string writeLimit = "max";
    };

    static bool Find(std::string_view name, size_t& group, File& file);
    int Execute(std::string_view name, std::string_view content) REQUIRES(mutex_);
    int MoveProcess(std::string_view pidText, size_t group) REQUIRES(mutex_);
    // Takes what is set instead of the group's present settings.
    int Change(size_t group, Group&& changed) REQUIRES(mutex_);

    IoLimiter* const limiter_;

    Mutex mutex_;
    std::array<Group, GROUPS.size()> groups_ GUARDED_BY(mutex_);
    ProcessGroups processes_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host

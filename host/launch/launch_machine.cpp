// SPDX-License-Identifier: Apache-2.0
#include "host/launch/launch_machine.h"

#include <utility>

namespace ZYRA::Host {

namespace {

// The files of a record are all open at once. Returns the limit as it was.
rlimit RaiseFileLimit() {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit raised = {before.rlim_max, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &raised);
    return before;
}

}  // namespace

LaunchMachine::LaunchMachine(MachineView machineView, std::unique_ptr<Guardian> machineGuardian,
                             const rlimit& fileLimit)
    : view(std::move(machineView)),
      guardian(std::move(machineGuardian)),
      disks(MountedDisks()),
      readAheadFiles(MountedReadAheadFiles()),
      fileLimit_(fileLimit),
      countedDisks_(DisksBelow(disks)) {}

std::unique_ptr<LaunchMachine> LaunchMachine::TakeHold(std::string& error) {
    const rlimit fileLimit = RaiseFileLimit();
    std::optional<MachineView> view = MachineView::Capture(error);
    if (!view) {
        return nullptr;
    }
    auto guardian = Guardian::Start(error);
    if (guardian == nullptr) {
        return nullptr;
    }
    return std::make_unique<LaunchMachine>(std::move(*view), std::move(guardian), fileLimit);
}

bool LaunchMachine::EnterInChild() const noexcept {
    return setrlimit(RLIMIT_NOFILE, &fileLimit_) == 0 && view.ReturnTo();
}

std::optional<uint64_t> LaunchMachine::BytesReadFromDisks() const {
    uint64_t sum = 0;
    for (const BlockDevice& disk : countedDisks_) {
        const std::optional<uint64_t> bytes = BytesRead(disk);
        if (!bytes) {
            return std::nullopt;
        }
        sum += *bytes;
    }
    return sum;
}

}  // namespace ZYRA::Host

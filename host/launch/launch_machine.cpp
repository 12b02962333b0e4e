#include "host/launch/launch_machine.h"

#include <sys/resource.h>

#include <utility>

namespace ZYRA::Host {

namespace {

// The files of a record are all open at once.
void RaiseFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace

LaunchMachine::LaunchMachine(MachineView machineView, std::unique_ptr<Guardian> machineGuardian)
    : view(std::move(machineView)), guardian(std::move(machineGuardian)), disks(MountedDisks()) {}

std::unique_ptr<LaunchMachine> LaunchMachine::TakeHold(std::string& error) {
    RaiseFileLimit();
    std::optional<MachineView> view = MachineView::Capture(error);
    if (!view) {
        return nullptr;
    }
    auto guardian = Guardian::Start(error);
    if (guardian == nullptr) {
        return nullptr;
    }
    return std::make_unique<LaunchMachine>(std::move(*view), std::move(guardian));
}

std::optional<uint64_t> LaunchMachine::BytesReadFromDisks() const {
    uint64_t sum = 0;
    for (const BlockDevice& disk : disks) {
        const std::optional<uint64_t> bytes = BytesRead(disk);
        if (!bytes) {
            return std::nullopt;
        }
        sum += *bytes;
    }
    return sum;
}

}  // namespace ZYRA::Host

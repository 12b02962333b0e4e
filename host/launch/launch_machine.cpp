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
    return std::unique_ptr<LaunchMachine>(
        new LaunchMachine{std::move(*view), FileFinder(), std::move(guardian), MountedDisks()});
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

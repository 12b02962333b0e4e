// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/machine/block_devices.h"
#include "host/machine/guardian.h"
#include "host/machine/machine_view.h"
#include "host/pages/file_finder.h"

namespace ZYRA::Host {

// The real machine, as far as it must be taken hold of before the process enters the sandbox.
struct LaunchMachine {
    // Null on failure, with one line in `error`. REQUIRES: root, one thread, outside the sandbox.
    static std::unique_ptr<LaunchMachine> TakeHold(std::string& error);

    LaunchMachine(MachineView machineView, std::unique_ptr<Guardian> machineGuardian, const rlimit& fileLimit);

    // In a forked child: from the sandbox to the machine, with the limit of open files that the host began with. As
    // MachineView::ReturnTo.
    bool EnterInChild() const noexcept;

    // Of all the disks together; nothing when one of them does not tell.
    std::optional<uint64_t> BytesReadFromDisks() const;

    MachineView view;
    FileFinder finder;
    std::unique_ptr<Guardian> guardian;
    std::vector<BlockDevice> disks;
    std::vector<std::string> readAheadFiles;

private:
    const rlimit fileLimit_;
    const std::vector<BlockDevice> countedDisks_;
};

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/kernel/fault_table.h"
#include "host/kernel/fuse_server.h"
#include "host/kernel/io_limiter.h"
#include "host/kernel/iolimit_model.h"
#include "host/kernel/kernel_tree.h"
#include "host/kernel/modelled_pages.h"
#include "host/kernel/page_backend.h"
#include "host/kernel/switch_file.h"
#include "host/kernel/workingset_model.h"

namespace ZYRA::Host {

// The kernel of the virtual device: its facilities, and the file system that shows them. Below the mount point stand
//   workingset/       shown to the plugin as /dev/workingset
//   iolimit/          shown to the plugin as /dev/iolimit
//   ws_fault_around   shown to the plugin as /proc/sys/kernel/ws_fault_around
// The facilities' state belongs to this object and outlives the mount. Thread-safe but for Start and Stop, which are as
// FuseServer says.
class KernelFacility {
public:
    // `pages` and `limiter` stand behind the facilities; without them the pages are modelled and nothing is slowed
    // down. Both must outlive the object.
    explicit KernelFacility(PageBackend* pages = nullptr, IoLimiter* limiter = nullptr);

    // "" or one line that says what failed.
    std::string Start(const std::string& mountPoint) { return server_.Start(mountPoint); }
    void Stop() { server_.Stop(); }

    // What the executor asks for on the kernel's behalf.
    void Preread(int monitor) { workingset_.Preread(monitor); }

    // Presets of the device model, for modelled pages only. A preset record has as many pages as the scene has at that
    // moment.
    void SetScenePages(const std::string& scene, uint64_t pages) { modelled_.SetPages(scene, pages); }
    void SetRecord(const std::string& scene, RecordState state) { modelled_.SetRecord(scene, state); }

    WorkingsetModel& Workingset() { return workingset_; }
    IolimitModel& Iolimit() { return iolimit_; }
    FaultTable& Faults() { return faults_; }

private:
    ModelledPages modelled_;
    WorkingsetModel workingset_;
    IolimitModel iolimit_;
    SwitchFile faultAround_;
    FaultTable faults_;
    KernelTree tree_;
    FuseServer server_;
};

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "host/kernel/kernel_facility.h"
#include "host/replay/device_model.h"
#include "host/services/executor_service.h"

namespace ZYRA::Host {

// The device that a plugin runs on: the kernel's facilities under their fixed paths, the platform services' state and
// the privileged executor. There is one at a time; whoever runs a plugin on it disables that before the device goes.
class VirtualDevice {
public:
    // REQUIRES: the process is in the sandbox, and the task runtime that the plugin will use is installed. On failure
    // returns null and fills `error` with one line that says what is missing. `pages` and `limiter` are those of
    // KernelFacility.
    static std::unique_ptr<VirtualDevice> Start(const DeviceModel& model, std::string& error,
                                                PageBackend* pages = nullptr, IoLimiter* limiter = nullptr);

    ~VirtualDevice();
    VirtualDevice(const VirtualDevice&) = delete;
    VirtualDevice& operator=(const VirtualDevice&) = delete;

    // Changes the model, and the device at once in what the patch mentions.
    // REQUIRES: the patch is valid, as ApplyDevicePatch says for a running device.
    void Apply(nlohmann::json patch);

    KernelFacility& Kernel() { return kernel_; }

private:
    // Hands prereads to the kernel.
    class KernelPort final : public PrereadPort {
    public:
        explicit KernelPort(KernelFacility& kernel) : kernel_(kernel) {}
        void Preread(int monitor) override { kernel_.Preread(monitor); }

    private:
        KernelFacility& kernel_;
    };

    VirtualDevice(const DeviceModel& model, PageBackend* pages, IoLimiter* limiter)
        : model_(model), pages_(pages), kernel_(pages, limiter), port_(kernel_) {}
    void TakeOver(const DeviceChange& change);
    void ForgetEndedProcesses(const DeviceState& before);

    DeviceModel model_;
    PageBackend* const pages_;
    // The executor ends before the kernel that it works on.
    KernelFacility kernel_;
    KernelPort port_;
    std::unique_ptr<ExecutorService> executor_;
};

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/replay/virtual_device.h"

#include <utility>

#include "host/sandbox/sandbox.h"
#include "host/services/power_service.h"
#include "platform/service_registry.h"

namespace ZYRA::Host {

namespace {

// A change that mentions everything that the model says.
DeviceChange WholeModel(const DeviceModel& model) {
    DeviceChange change;
    change.state = change.dfxInfo = change.dfxError = change.faults = true;
    for (const auto& [name, scene] : model.scenes) {
        change.scenePages.insert(name);
        change.sceneRecords.insert(name);
    }
    for (int monitor = 0; monitor < MONITOR_COUNT; ++monitor) {
        change.monitorStates.insert(monitor);
    }
    return change;
}

}  // namespace

std::unique_ptr<VirtualDevice> VirtualDevice::Start(const DeviceModel& model, std::string& error, PageBackend* pages,
                                                    IoLimiter* limiter) {
    std::unique_ptr<VirtualDevice> device(new VirtualDevice(model, pages, limiter));
    error = device->kernel_.Start(KERNEL_MOUNT_POINT);
    if (error.empty()) {
        error = ExposeKernelFiles().value_or("");
    }
    if (!error.empty()) {
        return nullptr;
    }
    device->executor_ = std::make_unique<ExecutorService>(device->port_);
    device->TakeOver(WholeModel(model));
    return device;
}

VirtualDevice::~VirtualDevice() {
    executor_.reset();
    if (pages_ != nullptr) {
        pages_->FinishPrereads();
    }
    WithdrawKernelFiles();
    kernel_.Stop();
}

void VirtualDevice::Apply(nlohmann::json patch) {
    LocatedJson document;
    document.value = std::move(patch);
    TakeOver(ApplyDevicePatch(JsonNode(document), DevicePhase::RUNNING, model_));
}

void VirtualDevice::TakeOver(const DeviceChange& change) {
    const auto sceneOf = [this](const std::string& name) {
        const auto scene = model_.scenes.find(name);
        return scene == model_.scenes.end() ? SceneModel() : scene->second;
    };
    if (change.state) {
        const auto before = DeviceServices::GetInstance().Snapshot();
        DeviceServices::GetInstance().Set(model_.state);
        ForgetEndedProcesses(*before);
        if (!model_.state.HasService(POWER_MGR_SERVICE_ID)) {
            PowerService::GetInstance().ForgetCallbacks();
        }
    }
    // A preset record has as many pages as its scene has at that moment.
    for (const std::string& name : change.scenePages) {
        kernel_.SetScenePages(name, sceneOf(name).pages);
    }
    for (const std::string& name : change.sceneRecords) {
        kernel_.SetRecord(name, sceneOf(name).record);
    }
    const KernelModel& kernel = model_.kernel;
    for (const int monitor : change.monitorStates) {
        kernel_.Workingset().SetMonitorState(monitor, kernel.monitorStates.at(static_cast<size_t>(monitor)));
    }
    if (change.dfxInfo) {
        kernel_.Workingset().SetDfxInfo(kernel.dfxInfo.succ, kernel.dfxInfo.fail, kernel.dfxInfo.size);
    }
    if (change.dfxError) {
        kernel_.Workingset().SetDfxError(kernel.dfxError);
    }
    if (change.faults) {
        kernel_.Faults().Set(kernel.faults);
    }
}

// The kernel takes a process that has ended out of its group.
void VirtualDevice::ForgetEndedProcesses(const DeviceState& before) {
    for (const auto& [pid, process] : before.processes) {
        if (!model_.state.processes.contains(pid)) {
            kernel_.Iolimit().RemoveProcess(pid);
            kernel_.Workingset().RemoveProcess(pid);
        }
    }
}

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/cold_start_device.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "host/replay/virtual_device.h"
#include "platform/executor_client.h"

namespace ZYRA {

namespace {

// The executor's answer to the next request that is waited for.
nlohmann::json nextReply;

}  // namespace

namespace ResourceSchedule {

// The executor is another process, whose work is not the main queue's: in the place of the device's stands one that
// takes every request, does nothing, and has its answer ready.

void ExecutorClient::SendRequestAsync(uint32_t /*resType*/, int64_t /*value*/, const nlohmann::json& /*payload*/) {}

int32_t ExecutorClient::SendRequestSync(uint32_t /*resType*/, int64_t /*value*/, const nlohmann::json& /*payload*/,
                                        nlohmann::json& reply) {
    reply = std::exchange(nextReply, nlohmann::json());
    return 0;
}

}  // namespace ResourceSchedule

namespace Bench {

namespace {

namespace fs = std::filesystem;

const fs::path RECORDS = "/data/service/el1/public/ressched/workingset";
const fs::path ROOT = "/dev/workingset";
const fs::path MONITOR = ROOT / "monitor0";

void Fill(const fs::path& file, const std::string& content) {
    std::ofstream(file) << content;
}

Host::DeviceModel Model() {
    nlohmann::json processes = {{std::to_string(PID), {{"uid", UID}, {"bundles", {BUNDLE}}, {"foreground", true}}}};
    for (int number = 0; number < BACKGROUND_PROCESSES; ++number) {
        processes[std::to_string(FIRST_BACKGROUND_PID + number)] = {
            {"uid", UID + 1 + number}, {"bundles", {"com.example.app" + std::to_string(number)}}};
    }
    Host::LocatedJson located;
    located.value = {{"startTime", START_TIME_S}, {"processes", processes}, {"bundles", {{BUNDLE, {{"uid", UID}}}}}};
    Host::DeviceModel model;
    ApplyDevicePatch(Host::JsonNode(located), Host::DevicePhase::DESCRIBING, model);
    return model;
}

class PlainFiles final : public ColdStartDevice {
public:
    PlainFiles() {
        Host::DeviceServices::GetInstance().Set(Model().state);
        fs::create_directories(MONITOR);
        Fill(ROOT / "cgroup.procs", "");
        Fill(ROOT / "workingset.dfxerror", "0");
    }

private:
    void PrepareKernel(const char* record) override {
        // The line of the scene is written over the first one.
        constexpr size_t SCENE_LINE_SIZE = 200;
        Fill(MONITOR / "workingset.state", "OUTOFWORK");
        Fill(MONITOR / "cgroup.procs", "");
        Fill(MONITOR / "workingset.data",
             std::string(SCENE_LINE_SIZE, ' ') + "\nRecordState:" + record + "\nUid: 1\nPid: 0\nName: " + SCENE + "\n");
    }
};

class AnsweringDevice final : public ColdStartDevice {
public:
    AnsweringDevice() {
        std::string error;
        device_ = Host::VirtualDevice::Start(Model(), error);
        if (device_ == nullptr) {
            throw std::runtime_error(error);
        }
    }

private:
    void PrepareKernel(const char* record) override { device_->Apply({{"scenes", {{SCENE, {{"record", record}}}}}}); }

    std::unique_ptr<Host::VirtualDevice> device_;
};

}  // namespace

std::unique_ptr<ColdStartDevice> ColdStartDevice::OfPlainFiles() {
    return std::make_unique<PlainFiles>();
}

std::unique_ptr<ColdStartDevice> ColdStartDevice::Virtual() {
    return std::make_unique<AnsweringDevice>();
}

void ColdStartDevice::Prepare(const char* record) {
    if (std::string_view(record) == "absent") {
        fs::remove_all(RECORDS / BUNDLE);
    } else {
        fs::create_directories(RECORDS / BUNDLE);
        Fill(RECORDS / SCENE, "");
    }
    PrepareKernel(record);
    // The processes of the background are in the limited group already.
    nextReply = {{"list", nlohmann::json::array()}};
    for (int number = 0; number < BACKGROUND_PROCESSES; ++number) {
        nextReply["list"].push_back(std::to_string(FIRST_BACKGROUND_PID + number));
    }
}

}  // namespace Bench

}  // namespace ZYRA

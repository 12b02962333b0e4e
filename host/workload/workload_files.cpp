// SPDX-License-Identifier: Apache-2.0
#include "host/workload/workload_files.h"

#include <filesystem>

namespace ZYRA::Host {

namespace {

// Where a replay looks for the device model of a scenario.
std::string DevicePathOf(const std::string& scenarioFile) {
    return std::filesystem::path(scenarioFile).replace_extension(".device.json").string();
}

}  // namespace

WorkloadFiles::WorkloadFiles(const std::string& scenarioFile)
    : scenario_(scenarioFile), device_(DevicePathOf(scenarioFile)) {}

bool WorkloadFiles::Commit(const nlohmann::json& deviceModel) {
    device_.Write(deviceModel.dump(1) + "\n");
    // The scenario takes its name last: there is none without the device that it was made for.
    return scenario_.Finish() && device_.Finish() && device_.Publish() && scenario_.Publish();
}

}  // namespace ZYRA::Host

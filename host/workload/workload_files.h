// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "host/workload/whole_file.h"

namespace ZYRA::Host {

// A scenario and its device model beside it. Both appear at the end, or neither does when one cannot be written.
class WorkloadFiles {
public:
    // Begins FILE.jsonl and FILE.device.json; `scenarioFile` is the former.
    explicit WorkloadFiles(const std::string& scenarioFile);

    const std::string& ScenarioPath() const { return scenario_.Path(); }
    const std::string& DevicePath() const { return device_.Path(); }
    // "file: reason" of a failure, empty as long as there is none.
    std::string Failure() const { return scenario_.Failure().empty() ? device_.Failure() : scenario_.Failure(); }

    void Write(std::string_view scenarioLines) { scenario_.Write(scenarioLines); }

    // Writes the device model and gives both files their names. Returns false on failure. Called once.
    bool Commit(const nlohmann::json& deviceModel);

private:
    WholeFile scenario_;
    WholeFile device_;
};

}  // namespace ZYRA::Host

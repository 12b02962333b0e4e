// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform_api.h"
#include "platform/service_registry.h"

namespace ZYRA {

struct RunningProcessInfo {
    int32_t pid = -1;
    int32_t uid = -1;
    std::vector<std::string> bundleNames;
};

struct AppStateData {
    std::string bundleName;
    int32_t pid = -1;
    int32_t uid = -1;
};

// The app manager's remote interface (service 501). Thread-safe. Both queries replace their output and return 0, or
// return a non-zero error and leave it as it was.
class PLATFORM_API AppMgr : public RemoteObject {
public:
    ~AppMgr() override;
    // Every application process that runs, in ascending order of pid.
    virtual int32_t GetAllRunningProcesses(std::vector<RunningProcessInfo>& processes) = 0;
    // The processes whose application is in the foreground, in ascending order of pid.
    virtual int32_t GetForegroundApplications(std::vector<AppStateData>& applications) = 0;
};

}  // namespace ZYRA

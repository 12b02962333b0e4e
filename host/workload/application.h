// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/workload/random.h"

namespace ZYRA::Host {

// The page that an application shows first.
constexpr char FIRST_PAGE[] = "pages/Index";

struct AppPage {
    std::string url;
    int64_t memoryPages;  // Pages of memory, of 4 KiB, that opening it touches.
};

// An application as the device model knows it.
struct Application {
    std::string bundleName;
    int32_t uid;
    int64_t startupMemoryPages;  // Pages of memory that a cold start touches.
    std::vector<AppPage> pages;  // FIRST_PAGE and the others, each once.
};

// An application of that name with its first page only; `number` tells its uid from those of the others.
Application NewApplication(std::string bundleName, size_t number, Random& random);
// Adds a page. REQUIRES: the application has none of that URL.
void AddPage(Application& app, std::string url, Random& random);

// Names of scenes as the device model has them.
std::string StartupScene(const Application& app);
std::string PageScene(const Application& app, const std::string& pageUrl);

// A device patch that brings the application with its scenes.
nlohmann::json InstallPatch(const Application& app);

// The document of a device on which the applications are there and nothing runs. The configuration is the default one,
// with the intervals at which the top scenes are trained.
nlohmann::json DeviceDocument(int64_t startTimeS, bool isCharging, const std::vector<Application>& apps);

// What the device model says of the battery.
int32_t ChargingStatus(bool isCharging);

}  // namespace ZYRA::Host

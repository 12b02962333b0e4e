// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/kernel/control_files.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// A kernel switch that stands alone in its folder: takes "0" or "1" and shows it with a line end. Thread-safe.
class SwitchFile final : public ControlFiles {
public:
    // `deviceRoot` ends in a slash.
    SwitchFile(std::string deviceRoot, std::string name) : deviceRoot_(std::move(deviceRoot)), name_(std::move(name)) {}

    std::string DeviceRoot() const override { return deviceRoot_; }
    std::vector<ControlFile> List() const override { return {{name_, 0644}}; }
    int Read(std::string_view name, std::string& content) override;
    int Write(std::string_view name, const std::string& content) override;
    bool NeedsDescriptors(std::string_view /*name*/, const std::string* /*command*/) const override { return false; }

private:
    const std::string deviceRoot_;
    const std::string name_;

    Mutex mutex_;
    std::string value_ GUARDED_BY(mutex_) = "0";
};

}  // namespace ZYRA::Host

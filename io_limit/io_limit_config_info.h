// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::ResourceSchedule {

// The switch of IO limiting in the host's configuration. Host threads, one at a time.
class IoLimitConfigInfo {
public:
    static IoLimitConfigInfo& GetInstance();

    IoLimitConfigInfo(const IoLimitConfigInfo&) = delete;
    IoLimitConfigInfo& operator=(const IoLimitConfigInfo&) = delete;

    // Reads the configuration. One that says nothing of the switch leaves it as it was.
    void Init();

    // Off until a configuration has said otherwise.
    bool IsIoLimitEnabled() const { return isIoLimitEnabled; }

private:
    IoLimitConfigInfo() = default;

    void InitIoLimitSwitch();

    bool isIoLimitEnabled = false;
};

}  // namespace ZYRA::ResourceSchedule

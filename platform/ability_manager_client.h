// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "platform/platform_api.h"

namespace ZYRA {

// Names an ability: the unit of an application that a person sees as a window.
struct ElementName {
    std::string bundleName;
    std::string abilityName;
};

// The ability manager's client. Thread-safe.
class PLATFORM_API AbilityManagerClient {
public:
    // Null when the platform has no ability manager.
    static std::shared_ptr<AbilityManagerClient> GetInstance();
    virtual ~AbilityManagerClient();

    // The ability in front. `isNeedLocalDeviceId` asks for the local device's own id to be filled in. The names are
    // empty when nothing is in front.
    virtual ElementName GetTopAbility(bool isNeedLocalDeviceId) = 0;
};

}  // namespace ZYRA

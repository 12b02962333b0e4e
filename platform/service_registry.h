// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform_api.h"

namespace ZYRA {

// Numeric ids of the platform's services.
constexpr int32_t BUNDLE_MGR_SERVICE_ID = 401;
constexpr int32_t APP_MGR_SERVICE_ID = 501;
constexpr int32_t POWER_MGR_SERVICE_ID = 3301;

// A proxy of a service in another process. It stays usable as an object when the service goes; its calls then fail.
class PLATFORM_API RemoteObject {
public:
    virtual ~RemoteObject();
};

// Finds services by id. Thread-safe. A service that is absent now may come later, and may go again.
class PLATFORM_API ServiceRegistry {
public:
    // Null when there is no registry.
    static std::shared_ptr<ServiceRegistry> GetInstance();

    virtual ~ServiceRegistry();
    // Null when the service is not there now.
    virtual std::shared_ptr<RemoteObject> GetService(int32_t serviceId) = 0;
};

// The typed interface behind a proxy; null when the proxy is null or speaks another interface.
template <typename Interface>
std::shared_ptr<Interface> InterfaceCast(const std::shared_ptr<RemoteObject>& remote) {
    return std::dynamic_pointer_cast<Interface>(remote);
}

}  // namespace ZYRA

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/platform_api.h"
#include "platform/res_data.h"

namespace ZYRA::ResourceSchedule {

// What every plugin of the resource-schedule service is. The service loads the plugin's library and calls four exported
// functions with unmangled names, from any of its threads:
//   bool OnPluginInit(std::string& libName)             true when the library is the one named and has been started
//   void OnPluginDisable()                               stops it; OnPluginInit may follow again
//   void OnDispatchResource(const std::shared_ptr<ResData>& data)
//   void OnDump(const std::vector<std::string>& args, std::string& result)   text is appended to result
// No exception may leave any of them. The library is unloaded only after OnPluginDisable has returned, after every
// other export has returned, and after the platform has ended every thread that could run the plugin's code.
class PLATFORM_API Plugin {
public:
    virtual ~Plugin();
    virtual void Init() = 0;
    virtual void Disable() = 0;
    virtual void DispatchResource(const std::shared_ptr<ResData>& data) = 0;
};

}  // namespace ZYRA::ResourceSchedule

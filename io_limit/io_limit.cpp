// SPDX-License-Identifier: Apache-2.0
#include "io_limit/io_limit.h"

#include "frame/common/io_sched_log.h"
#include "io_limit/io_limit_config_info.h"
#include "io_limit/io_limit_handler.h"

namespace ZYRA::ResourceSchedule {

Iolimit& Iolimit::GetInstance() {
    static Iolimit instance;
    return instance;
}

void Iolimit::Init() {
    IoLimitConfigInfo& config = IoLimitConfigInfo::GetInstance();
    config.Init();
    if (!config.IsIoLimitEnabled()) {
        IOSCHED_LOGI("Iolimit Init not enable");
        return;
    }
    IolimitHandler::GetInstance().Init();
}

void Iolimit::Deinit() {
    IolimitHandler::GetInstance().Deinit();
}

}  // namespace ZYRA::ResourceSchedule

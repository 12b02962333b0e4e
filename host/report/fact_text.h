// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Facts in a line of text, so that equal ones are told alike wherever they are told.

// "write /dev/workingset/monitor0/workingset.state: EIO late"
std::string FaultText(const FaultEntry& fact);
// "/dev/workingset/monitor0/workingset.state: EIO"
std::string RefusedWriteText(const FileWriteEntry& fact);
// "8/2 /dev/iolimit/iocontrol/cgroup.procs: EIO"
std::string RefusedRequestText(const RefusedEntry& fact);
// "com.example.mail/com.example.mail: 2"
std::string FailedPrereadText(const PrereadEntry& fact);
// Its name and its parameters: "EXACT_PREREAD_REPORT SUCC_CNT=4".
std::string SysEventText(const SysEventEntry& fact);

}  // namespace ZYRA::Host

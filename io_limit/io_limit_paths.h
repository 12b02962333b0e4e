// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::ResourceSchedule {

// The kernel's IO-limit groups: "iocontrol" is limited while its switch is on, "heavyio" likewise with limits of its
// own, "ionormal" is for those that are not to be. A process is in at most one of them. The files are written by the
// executor alone.

constexpr char IOCONTROL_PROCS[] = "/dev/iolimit/iocontrol/cgroup.procs";
constexpr char HEAVYIO_PROCS[] = "/dev/iolimit/heavyio/cgroup.procs";
constexpr char IONORMAL_PROCS[] = "/dev/iolimit/ionormal/cgroup.procs";

constexpr char IOCONTROL_SWITCH[] = "/dev/iolimit/iocontrol/iolimit.offon";
constexpr char HEAVYIO_SWITCH[] = "/dev/iolimit/heavyio/iolimit.offon";

constexpr char IOCONTROL_READ_LIMIT[] = "/dev/iolimit/iocontrol/iolimit.read_limit";
constexpr char IOCONTROL_WRITE_LIMIT[] = "/dev/iolimit/iocontrol/iolimit.write_limit";
constexpr char HEAVYIO_READ_LIMIT[] = "/dev/iolimit/heavyio/iolimit.read_limit";
constexpr char HEAVYIO_WRITE_LIMIT[] = "/dev/iolimit/heavyio/iolimit.write_limit";

}  // namespace ZYRA::ResourceSchedule

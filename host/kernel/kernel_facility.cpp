// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/kernel_facility.h"

namespace ZYRA::Host {

KernelFacility::KernelFacility(PageBackend* pages, IoLimiter* limiter)
    : workingset_(pages == nullptr ? modelled_ : *pages),
      iolimit_(limiter),
      faultAround_("/proc/sys/kernel/", "ws_fault_around"),
      tree_(faults_),
      server_(tree_) {
    tree_.Add("workingset", workingset_);
    tree_.Add("", faultAround_);
    tree_.Add("iolimit", iolimit_);
}

}  // namespace ZYRA::Host

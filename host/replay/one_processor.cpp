// SPDX-License-Identifier: Apache-2.0
#include "host/replay/one_processor.h"

namespace ZYRA::Host {

// A machine with more processors than the set has room for refuses to tell.
OneProcessor::OneProcessor() {
    const int processor = sched_getcpu();
    policy_ = sched_getscheduler(0);
    isKnown_ = processor >= 0 && policy_ >= 0 && sched_getparam(0, &priority_) == 0 &&
               sched_getaffinity(0, sizeof(processors_), &processors_) == 0;
    if (!isKnown_) {
        return;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(processor), &one);
    sched_setaffinity(0, sizeof(one), &one);
    if (policy_ == SCHED_OTHER) {
        sched_setscheduler(0, SCHED_BATCH, &priority_);
    }
}

OneProcessor::~OneProcessor() {
    if (isKnown_) {
        sched_setscheduler(0, policy_, &priority_);
        sched_setaffinity(0, sizeof(processors_), &processors_);
    }
}

}  // namespace ZYRA::Host

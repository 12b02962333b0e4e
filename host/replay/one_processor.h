// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sched.h>

namespace ZYRA::Host {

// Keeps the calling thread, and the threads that it starts, on one processor for as long as this object lives. For
// threads that wait for each other all the time: to wake one on another processor costs more than what it then does.
// None of them cuts another one short. The processor is the one on which the caller runs now; child processes stay on
// it as well.
class OneProcessor {
public:
    OneProcessor();
    // On the same thread. Those that it has started stay where they are.
    ~OneProcessor();
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    // Before; where the system does not tell, nothing is changed.
    bool isKnown_ = false;
    cpu_set_t processors_{};
    int policy_ = SCHED_OTHER;
    sched_param priority_{};
};

}  // namespace ZYRA::Host

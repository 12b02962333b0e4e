// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <cstdint>

#include "host/report/progress_line.h"

namespace ZYRA::Host {

// Tells how far work has come that is told of far more often than anybody can read: nothing in its first second, then
// ten times a second at the most. Costs next to nothing where there is no terminal, and a look at a coarse clock
// elsewhere. Not thread-safe.
class PacedProgress {
public:
    explicit PacedProgress(ProgressLine& line) : line_(line), dueMs_(NowMs() + FIRST_AFTER_MS) {}

    // `makeText` returns the text, and is called only when it is shown.
    template <typename MakeText>
    void Tell(const MakeText& makeText) {
        if (!line_.IsShown()) {
            return;
        }
        if (const int64_t nowMs = NowMs(); nowMs >= dueMs_) {
            dueMs_ = nowMs + INTERVAL_MS;
            line_.Show(makeText());
        }
    }

private:
    static constexpr int64_t FIRST_AFTER_MS = 1000;
    static constexpr int64_t INTERVAL_MS = 100;

    static int64_t NowMs() {
        constexpr int64_t MS_PER_S = 1000;
        constexpr int64_t NS_PER_MS = 1000000;
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        return now.tv_sec * MS_PER_S + now.tv_nsec / NS_PER_MS;
    }

    ProgressLine& line_;
    int64_t dueMs_;
};

}  // namespace ZYRA::Host

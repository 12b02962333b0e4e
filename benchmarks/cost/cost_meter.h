// SPDX-License-Identifier: Apache-2.0
#pragma once

/* What a stretch of work costs. In C, so that a plain C program is measured in the very same way. */

#ifdef __cplusplus
extern "C" {
#endif

struct Times {
    double wallMs;
    double cpuMs; /* Of the calling thread. */
};
struct Times TimesNow(void);

/* Both are in bytes, and -1 where the kernel does not tell. The first gives the heap's free pages back to the system
   and starts a new peak; it returns what the process has in memory then. */
long ResetResidentPeak(void);
long ResidentPeak(void);

#ifdef __cplusplus
}
#endif

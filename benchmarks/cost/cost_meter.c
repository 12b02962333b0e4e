// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/cost_meter.h"

#include <malloc.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static double Milliseconds(clockid_t clock) {
    struct timespec now = {0, 0};
    clock_gettime(clock, &now);
    return (double)now.tv_sec * 1e3 + (double)now.tv_nsec / 1e6;
}

struct Times TimesNow(void) {
    const struct Times now = {Milliseconds(CLOCK_MONOTONIC), Milliseconds(CLOCK_THREAD_CPUTIME_ID)};
    return now;
}

/* The value of a line of /proc/self/status, which is in KiB. */
static long StatusBytes(const char* field) {
    char line[256];
    long kib = -1;
    FILE* status = fopen("/proc/self/status", "re");
    if (status == NULL) {
        return -1;
    }
    while (kib < 0 && fgets(line, sizeof(line), status) != NULL) {
        if (strncmp(line, field, strlen(field)) == 0 && sscanf(line + strlen(field), ": %ld kB", &kib) != 1) {
            break;
        }
    }
    fclose(status);
    return kib < 0 ? -1 : kib * 1024;
}

long ResetResidentPeak(void) {
    FILE* reset = fopen("/proc/self/clear_refs", "we");
    malloc_trim(0);
    if (reset == NULL) {
        return -1;
    }
    const int written = fputs("5", reset);
    if (fclose(reset) != 0 || written < 0) {
        return -1;
    }
    return StatusBytes("VmRSS");
}

long ResidentPeak(void) {
    return StatusBytes("VmHWM");
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// The kinds of start that are compared. The busy ones are cold, and other processes read from the disk meanwhile; the
// limited ones of these have their reading limited.
enum class StartKind {
    COLD,
    RECORDING,  // Cold, and what it touches is recorded.
    PREREAD,    // Cold, and what was recorded is preread.
    WARM,
    BUSY_COLD,
    BUSY_PREREAD,
    BUSY_PREREAD_LIMITED,
};

// As the user reads it, and as a member of JSON.
const char* StartLabel(StartKind kind);
const char* StartKey(StartKind kind);

struct StartSample {
    int64_t waitUs = 0;
    std::optional<uint64_t> bytesRead;  // From the disk, by whomever.
    int status = 0;                     // As of waitpid(2).
};

// "exit status 3", "killed by SIGSEGV".
std::string StatusText(int status);

template <typename Number>
struct Spread {
    Number median;
    Number min;
    Number max;
};

// Of an even count the median is the mean of the two in the middle. REQUIRES: there is one.
Spread<int64_t> SpreadOfWaits(const std::vector<StartSample>& samples);
// Nothing when it is unknown of one of them.
std::optional<Spread<uint64_t>> SpreadOfBytes(const std::vector<StartSample>& samples);

// What part of the wait above a floor is gone.
struct Gain {
    // Nothing when there is nothing to gain: less than 5 % of the wait is above the floor.
    std::optional<double> share;
};
Gain GainOf(int64_t slowUs, int64_t improvedUs, int64_t floorUs);

struct LaunchOptions {
    uint64_t runs = 0;  // Starts of each kind but RECORDING.
    int64_t headStartUs = 0;
    std::string recordMode;
    uint64_t readers = 0;
};

struct LaunchRecord {
    uint64_t files = 0;
    uint64_t pages = 0;
    uint64_t bytes = 0;
    uint64_t fileBytes = 0;  // Of the record file.
    // Of the last start that was preread: how many pages were recorded then, which of them it did not touch, and what
    // it touched beside them. The record may have changed since; nothing when not known.
    std::optional<uint64_t> comparedPages;
    std::optional<uint64_t> untouchedPages;
    std::optional<uint64_t> missedPages;

    // Of the compared pages.
    std::optional<double> UntouchedShare() const;
    // Of the pages that were touched.
    std::optional<double> MissedShare() const;
};

struct PrereadCounts {
    uint64_t succ = 0;
    uint64_t fail = 0;
};

// What came of the starts of one program.
struct LaunchResult {
    std::vector<std::string> command;
    LaunchOptions options;
    std::map<StartKind, std::vector<StartSample>> starts;
    std::optional<LaunchRecord> record;
    std::optional<PrereadCounts> preread;
    std::optional<bool> isOutputSame;
    std::vector<std::string> notes;  // One line each.

    // The status of all starts; nothing when they differ, or when there is none.
    std::optional<int> CommonStatus() const;

    // Of the medians; nothing when one of the three kinds has no samples.
    std::optional<Gain> GainBetween(StartKind slow, StartKind improved, StartKind floor) const;
    // The avoidable wait that the preread takes away, and the wait for busy disks that preread and limit together do.
    std::optional<Gain> PrereadGain() const;
    std::optional<Gain> BusyGain() const;
};

}  // namespace ZYRA::Host

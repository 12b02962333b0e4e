// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/machine/guardian.h"

namespace ZYRA::Host {

// How far read-ahead is turned down.
enum class ReadAheadLevel : uint8_t {
    NONE,  // A process has just the pages read that it demands.
    USUAL  // 128 KiB, which the kernel has by default; only where it is set to more.
};

// Keeps read-ahead as low as anybody wants it. A file takes the setting over when it is opened. Not
// thread-safe.
class ReadAhead {
public:
    // `files` hold the settings, in KiB. The guardian must outlive the object.
    ReadAhead(Guardian& guardian, std::vector<std::string> files) : guardian_(guardian), files_(std::move(files)) {}
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // False, and nothing has changed, when it cannot be had; `reason` is then one line. Each true is to be followed by
    // one TurnBack.
    bool TurnDown(ReadAheadLevel level, std::string& reason);
    void TurnBack(ReadAheadLevel level);

private:
    // Has each setting as low as is wanted. Returns the first failure; one that is gone is none.
    std::string Apply();
    uint64_t Wanted(uint64_t own) const;

    Guardian& guardian_;
    const std::vector<std::string> files_;
    std::array<int, 2> users_{};  // By level.
    // In KiB, by file, of the settings that are held: what they were before.
    std::map<std::string, uint64_t> own_;
};

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/mutex.h"

namespace ZYRA::Host {

enum class FileOperation : uint8_t { OPEN, READ, WRITE };

// What goes wrong with an operation. A default one is none.
struct Fault {
    int error = 0;         // The errno that it fails with; 0: it does not fail.
    bool isShort = false;  // Of a write: the caller is told that only the first half was taken, and nothing is done.
    int64_t delayUs = 0;   // It is answered so much later.

    explicit operator bool() const { return error != 0 || isShort || delayUs != 0; }
};

// Lets operations on facility files go wrong, `times` times, after `skip` operations that matched and passed.
struct FaultRule {
    // An absolute path on the device; "*", "?" and "[...]" stand for characters within one component, and "/**" at the
    // end for everything below.
    std::string path;
    std::optional<FileOperation> operation;  // Nothing: any.
    int error = 0;
    uint64_t skip = 0;
    uint64_t times = 1;
    bool isShort = false;  // Matches writes only.
    int64_t delayUs = 0;
};

// The faults of the device. Thread-safe.
class FaultTable {
public:
    // Whether a file system in user space can deliver the errno to the caller every time.
    static bool CanDeliver(int error);

    // Replaces all rules; counting starts afresh. REQUIRES: every errno can be delivered.
    void Set(std::vector<FaultRule> rules);

    // Whether there are no rules.
    bool IsEmpty() const { return isEmpty_.load(std::memory_order_relaxed); }

    // To be called once for each operation. Returns what goes wrong with it. The first rule that has a fault to give is
    // the one that counts.
    Fault Check(const std::string& path, FileOperation operation);

private:
    std::atomic<bool> isEmpty_{true};
    Mutex mutex_;
    // `skip` and `times` count down.
    std::vector<FaultRule> rules_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host

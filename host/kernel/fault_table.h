#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/mutex.h"

namespace ZYRA::Host {

enum class FileOperation : uint8_t { OPEN, READ, WRITE };

// Lets an operation on facility files fail with `error`, `times` times, after `skip` operations that matched and
// passed.
struct FaultRule {
    // An absolute path on the device; "*", "?" and "[...]" stand for characters within one component.
    std::string path;
    FileOperation operation = FileOperation::OPEN;
    int error = 0;
    uint64_t skip = 0;
    uint64_t times = 1;
};

// The faults of the device. Thread-safe.
class FaultTable {
public:
    // Whether a file system in user space can deliver the errno to the caller every time.
    static bool CanDeliver(int error);

    // Replaces all rules; counting starts afresh. REQUIRES: every errno can be delivered.
    void Set(std::vector<FaultRule> rules);

    // To be called once for each operation. Returns the errno that it must fail with, or 0. The first rule that has a
    // fault to give is the one that counts.
    int Check(const std::string& path, FileOperation operation);

private:
    Mutex mutex_;
    // `skip` and `times` count down.
    std::vector<FaultRule> rules_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host

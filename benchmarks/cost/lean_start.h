// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ZYRA::Bench {

// A cold start as nothing but its file operations: what the workingset facility has to be told and asked, and the
// record's file made. No events, no queue, no log, and no request to the executor.
class LeanStart {
public:
    LeanStart(const std::string& bundleName, int uid, int pid);

    // The steps, in their order. Each returns false when an operation has failed.
    bool AbilityStart();
    bool ProcessStart();
    bool DelayTimeout() const;
    bool Stop() const;

private:
    bool BindScene(int pid) const;

    const std::string bundleName_;
    const int uid_;
    const int pid_;
    bool isPreread_ = false;
    bool isCollected_ = false;
};

}  // namespace ZYRA::Bench

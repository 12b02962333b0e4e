// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// The facility's counts of prereads and the reason of the last failed one. Not thread-safe.
class PrereadStats {
public:
    void Succeed(uint64_t bytes);
    // `code` is the failure code as the error file shows it. What was read all the same counts.
    void Fail(const std::string& code, uint64_t bytes);

    // The counts start at 0 again; the failure code stays.
    void ResetCounts() { SetCounts(0, 0, "0"); }

    // `size` is shown as it stands until something is read, which counts on from the number that it begins with.
    void SetCounts(int64_t succ, int64_t fail, const std::string& size);
    void SetError(const std::string& code) { error_ = code; }

    std::string InfoText() const;
    // "0" while there was no failure.
    const std::string& ErrorText() const { return error_; }

private:
    void AddBytes(uint64_t bytes);

    int64_t succ_ = 0;
    int64_t fail_ = 0;
    std::string size_ = "0";
    std::string error_ = "0";
};

}  // namespace ZYRA::Host

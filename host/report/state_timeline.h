// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace ZYRA::Host {

// The state words that a monitor went through, and for how long it had each. Remembers the first and the last changes
// only, so that a long run costs no memory. Not thread-safe.
class StateTimeline {
public:
    static constexpr size_t FIRST_KEPT = 6;
    static constexpr size_t LAST_KEPT = 4;

    struct Change {
        int64_t timeUs;
        std::string state;
    };

    // The state from time 0 on.
    explicit StateTimeline(const std::string& state) : first_{{0, state}} {}

    // Times must not decrease. A state that is the current one is no change; at time 0 it replaces the first state.
    void ChangeTo(int64_t timeUs, const std::string& state);
    // The current state has lasted until then.
    void AdvanceTo(int64_t timeUs);

    const std::string& Current() const { return Newest().state; }
    // The first changes, then the last; between both `LeftOut()` are missing.
    const std::vector<Change>& First() const { return first_; }
    const std::deque<Change>& Last() const { return last_; }
    uint64_t LeftOut() const { return leftOut_; }
    const std::map<std::string, int64_t>& TotalUs() const { return totalUs_; }

private:
    const Change& Newest() const { return last_.empty() ? first_.back() : last_.back(); }

    std::vector<Change> first_;
    std::deque<Change> last_;
    uint64_t leftOut_ = 0;
    int64_t nowUs_ = 0;
    std::map<std::string, int64_t> totalUs_;
};

}  // namespace ZYRA::Host

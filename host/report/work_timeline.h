// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>

namespace ZYRA::Host {

// How far the work on the scene of one monitor is, as the device can see it:
//   IDLE        no scene is bound, or the work on it has ended: STOP or ABORT was written, or the state word has become
//               OUTOFWORK or ABORT
//   BOUND       a scene is bound and none of the following holds
//   PREREADING  the executor was asked to preread the scene's record, and no process has been attached since the scene
//               was bound. A scene whose record is up to date needs no collection and stays here until its work ends
//   COLLECTING  a process is in the monitor's group and the state word is INWORKING
//   PAUSED      a process has been attached since the scene was bound and the state word is PAUSED
// Binding the scene that is bound already (its process has come to be known) goes on with the same work; binding
// another one begins anew.
enum class WorkState : uint8_t { IDLE, BOUND, PREREADING, COLLECTING, PAUSED };

constexpr size_t WORK_STATE_COUNT = 5;
const char* WorkStateName(WorkState state);

// Follows one monitor's work and adds up the time in each state. Not thread-safe.
class WorkTimeline {
public:
    // Returns whether that begins new work.
    bool Bind(const std::string& scene);
    void RequestPreread() { isPrereadRequested_ = true; }
    void Attach(const std::string& pid);
    void Detach(const std::string& pid) { processes_.erase(pid); }
    void ChangeState(const std::string& word);
    void End() { isBound_ = false; }

    // What holds now has lasted until then. Times must not decrease.
    void AdvanceTo(int64_t timeUs);

    WorkState Current() const;
    int64_t TotalUs(WorkState state) const { return totalUs_.at(static_cast<size_t>(state)); }

private:
    bool isBound_ = false;
    std::string scene_;
    bool isPrereadRequested_ = false;
    bool wasAttached_ = false;
    std::set<std::string> processes_;
    std::string stateWord_;
    int64_t nowUs_ = 0;
    std::array<int64_t, WORK_STATE_COUNT> totalUs_{};
};

}  // namespace ZYRA::Host

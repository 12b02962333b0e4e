// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel/process_groups.h"
#include "host/report/limit_lines.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What a start or a slide did to a process:
//   LIMITED          put into the limited group
//   HEAVY            put into the group of heavy IO
//   RELEASED         taken out of the limited group, because its uid is on the white list
//   REFUSED          to be put somewhere, which the executor or the kernel refused
//   LIMITED_ALREADY  left where it was, in the limited group
//   WHITE_LISTED     left alone: its uid is on the white list
//   FROZEN           left alone: it gets no time on a processor
//   FOREGROUND       of the application that starts: taken out of every limited group, if the device shows it, or if
//                    the application has no process that is shown
//   SYSTEM           left alone: of a system application
enum class LimitFate : uint8_t {
    LIMITED,
    HEAVY,
    RELEASED,
    REFUSED,
    LIMITED_ALREADY,
    WHITE_LISTED,
    FROZEN,
    FOREGROUND,
    SYSTEM,
};

// In the order in which they are told.
constexpr LimitFate LIMIT_FATES[] = {LimitFate::LIMITED, LimitFate::HEAVY,           LimitFate::RELEASED,
                                     LimitFate::REFUSED, LimitFate::LIMITED_ALREADY, LimitFate::WHITE_LISTED,
                                     LimitFate::FROZEN,  LimitFate::FOREGROUND,      LimitFate::SYSTEM};
// For programs, and for people.
const char* LimitFateKey(LimitFate fate);
const char* LimitFateName(LimitFate fate);

struct LimitedProcess {
    int32_t pid;
    int32_t uid;
    std::string bundleName;  // The first of the process, "" when it has none.
    LimitFate fate;
    // In which group of the kernel it then was, "" for none: one that is left alone may be in a limited one, from the
    // time before it was exempt.
    std::string group;
};

// A start of an application, or of a slide, that was to switch the limits on.
struct LimitTrigger {
    int64_t timeUs = 0;
    bool isSlide = false;
    std::string bundleName;  // Of the application that starts.
    std::string uid;         // As the event gave it.
    bool isSwitchedOn = false;
    // When both switches were off again for the first time.
    std::optional<int64_t> liftedUs;
    std::vector<LimitedProcess> processes;  // In ascending order of pid.
};

// For how long a switch was on, and how often it was switched on.
struct SwitchTime {
    bool isOn = false;
    int64_t onUs = 0;
    uint64_t times = 0;
};

// Whom the plugin limited and why not the others: made of the journal's entries, and of the processes that the device
// has when the plugin looks at them. Needs log lines down to DEBUG. In virtual time it is exact; in real time an event
// that comes before the one before it was handled may be taken for that one. To be read when it is no sink of the
// journal any more.
class LimitSummary final : public JournalSink {
public:
    static constexpr size_t MOST_TRIGGERS = 100;

    void OnEntry(const JournalEntry& entry) override;
    bool NeedsDescriptors() const override { return false; }

    uint64_t Starts() const { return starts_; }
    uint64_t Slides() const { return slides_; }
    // How often each fate was that of a process, over all triggers.
    uint64_t FateCount(LimitFate fate) const;
    // The first triggers; Starts() and Slides() count the others too.
    const std::vector<LimitTrigger>& Triggers() const { return triggers_; }

    const SwitchTime& LimitedSwitch() const { return limitedSwitch_; }
    const SwitchTime& HeavySwitch() const { return heavySwitch_; }
    // Whichever of them was on.
    const SwitchTime& AnySwitch() const { return anySwitch_; }

private:
    // Of the decision that is being made, or was made last.
    struct Decision {
        LimitTrigger trigger;
        std::set<int32_t> foregroundUids;
        std::set<int32_t> chosen;
        std::set<int32_t> frozen;
        bool hasRead = false;  // The members of the limited group, as far as they could be read.
        bool isReadRefused = false;
        std::optional<std::set<int32_t>> limitedBefore;
        std::map<int32_t, LimitFate> asked;
        std::set<int32_t> moved;
        bool isMade = false;
    };

    void Note(const EventStep& fact);
    void Note(const DeviceStep& fact);
    void Note(const LogEntry& fact);
    void Note(const RequestEntry& fact);
    void Note(const RefusedEntry& fact);
    void Note(const FileWriteEntry& fact);
    void Note(const PluginStep& /*fact*/) { Begin(); }
    template <typename Fact>
    void Note(const Fact& /*fact*/) {}

    // Concludes the decision that was made last, if any: what it asked for has been done by now, or never will be.
    void Begin();
    void LookAtProcesses();
    void NoteMembers();
    void NoteAsked(std::string_view group, int32_t pid);
    LimitFate FateOf(const LimitedProcess& process) const;
    void NoteSwitch(SwitchTime& time, bool isOn);

    int64_t nowUs_ = 0;
    SwitchTime limitedSwitch_;
    SwitchTime heavySwitch_;
    SwitchTime anySwitch_;
    uint64_t starts_ = 0;
    uint64_t slides_ = 0;
    std::map<LimitFate, uint64_t> fates_;
    std::vector<LimitTrigger> triggers_;
    ProcessGroups groups_;    // As the kernel has them.
    LimitTrigger lastEvent_;  // What a decision that begins is told as.
    Decision decision_;
};

}  // namespace ZYRA::Host
